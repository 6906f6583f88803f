# The demo with Torvel.exe and a Java 17 for Windows, under Wine.
windows_path() { echo "Z:${1//\//\\}"; }

demo=$root/build/windows/demo
torvel=Torvel.exe file='game\Game.java' sample=$demo/sample
cache=${XDG_CACHE_HOME:-$HOME/.cache}/torvel/java-windows/17
java=$(windows_path "$cache")
as_child=(env WINEPATH="$java\\bin")

setup=windows
prepare() {
  [ -e "$cache/bin/java.exe" ] || { echo "scripts/demo: no Java 17 for Windows could be fetched into $cache"; return 1; }
  mkdir -p "$demo"
  # This Java has no compiler, so the workspace brings that of the JDK 17 at hand.
  cmake --preset windows -DTORVEL_TESTS=OFF && cmake --build --preset windows --target Torvel TorvelAssistant &&
    sample/assemble --windows=build/windows/TorvelAssistant.exe \
      --compiler="$(ls /usr/lib/jvm/java-17-*/jmods/jdk.compiler.jmod | head -n 1)" "$demo/sample" &&
    sample/assemble --windows=build/windows/TorvelAssistant.exe "$demo/older" 2.8.9 && start_wine
}

# What Wine leaves running holds on to the standard error that it was started with, so that is never the demo's own.
start_wine() {
  export WINEPREFIX=$demo/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' HOME=$demo PATH=$PATH:/usr/lib/wine
  # The prefix is whole once the server that made it has ended.
  [ -e "$WINEPREFIX/system.reg" ] || { wine64 wineboot -i; wineserver -w; }
  wineserver -p
  mkfifo "$scratch/idle"
  wine64 cmd <"$scratch/idle" &
  exec 9>"$scratch/idle"
}

# Torvel.exe by its name alone; cmd.exe is the parent that it watches.
open() {
  unset JAVA_HOME
  mkdir "$scratch/bin"
  printf '#!/bin/sh\nexec env WINEPATH="$WINEPATH;%s" wine64 cmd /c Torvel.exe "$@"\n' "$(windows_path "$root/build/windows")" \
    >"$scratch/bin/Torvel.exe"
  chmod +x "$scratch/bin/Torvel.exe"
  export WINEPATH="$java\\bin\\server;$java\\bin" PATH=$scratch/bin:$PATH
}

start_assistant() {
  (cd ../older && wine64 cmd /c assistant.cmd "$(windows_path "$scratch/assistant")" >"$scratch/said" 2>&1)
  cat "$scratch/said"
}

finish() {
  if [ -n "${WINEPREFIX:-}" ]; then
    wineserver -k || true
    wineserver -w
  fi
}
