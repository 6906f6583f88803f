# shellcheck shell=bash
# The protocol fixes the Assistant's port: the launcher would take any program that listens there for the Assistant.
require_free_port() {
  if (exec 3<>/dev/tcp/127.0.0.1/8118) 2>/dev/null; then
    echo "Port 8118 on 127.0.0.1 is taken by another program (an Assistant?). End it and try again." >&2
    return 1
  fi
}
