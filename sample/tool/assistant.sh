#!/bin/bash
# The Assistant's program: runs the Assistant in the Torvel.jar beside it, in its own directory and in the foreground.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
# Java accepts paths beyond ASCII only in a UTF-8 locale.
case "${LC_ALL:-${LC_CTYPE:-${LANG:-}}}" in
    *UTF-8 | *utf8 | *utf-8) ;;
    *) export LC_ALL=C.UTF-8 ;;
esac
# The first JIT compiler only: it is the faster one for short builds.
exec "${JAVA_HOME:+$JAVA_HOME/bin/}java" -Xmx256m -XX:+UseSerialGC -XX:TieredStopAtLevel=1 \
    -cp Torvel.jar com.drel.torvel.assistant.Assistant </dev/null
