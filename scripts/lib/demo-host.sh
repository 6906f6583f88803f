# The demo with the launcher for this machine.
torvel=Torvel file=game/Game.java sample=$root/sample
as_child=(env TORVEL_HOST_REGISTRY=/dev/null)

setup=build
prepare() {
  cmake --preset host -DTORVEL_TESTS=OFF && cmake --build --preset host --target Torvel && sample/assemble
}

open() { export PATH=$root/build/host:$PATH; }

start_assistant() { ./assistant "$scratch/assistant" 2.8.9 & }

finish() {
  # The Assistant replaces its own process when it is updated; it is known by the directory it runs in.
  local process
  for process in /proc/[0-9]*; do
    [ "$(readlink "$process/cwd" 2>/dev/null)" != "$scratch/assistant" ] || kill "${process#/proc/}" || true
  done
}
