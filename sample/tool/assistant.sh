#!/bin/bash
<<<<<<< HEAD
# The Assistant's program: runs the Assistant in the Torvel.jar beside it, in its own directory and in the foreground.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
# Java accepts paths beyond ASCII only in a UTF-8 locale.
=======
# Runs the Assistant of the Torvel.jar beside this script, in the script's directory and in the foreground.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
# Java accepts non-ASCII paths only in a locale that has the characters.
>>>>>>> 4fdefed (Sample: comments in plain technical English)
case "${LC_ALL:-${LC_CTYPE:-${LANG:-}}}" in
    *UTF-8 | *utf8 | *utf-8) ;;
    *) export LC_ALL=C.UTF-8 ;;
esac
<<<<<<< HEAD
# The first JIT compiler only: it is the faster one for short builds.
=======
# Only the C1 compiler, which is faster for short builds.
>>>>>>> 4fdefed (Sample: comments in plain technical English)
exec "${JAVA_HOME:+$JAVA_HOME/bin/}java" -Xmx256m -XX:+UseSerialGC -XX:TieredStopAtLevel=1 \
    -cp Torvel.jar com.drel.torvel.assistant.Assistant </dev/null
