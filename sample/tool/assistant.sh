#!/bin/bash
# Runs the Assistant of the Torvel.jar beside this script, in the script's directory and in the foreground.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
# Java accepts non-ASCII paths only in a locale that has the characters.
case "${LC_ALL:-${LC_CTYPE:-${LANG:-}}}" in
    *UTF-8 | *utf8 | *utf-8) ;;
    *) export LC_ALL=C.UTF-8 ;;
esac
# Only the C1 compiler, which is faster for short builds.
exec "${JAVA_HOME:+$JAVA_HOME/bin/}java" -Xmx256m -XX:+UseSerialGC -XX:TieredStopAtLevel=1 \
    -cp Torvel.jar com.drel.torvel.assistant.Assistant </dev/null
