# shellcheck shell=bash
# The Assistant's port is fixed by its protocol, so whatever listens there already would be taken for the Assistant.
require_free_port() {
  if (exec 3<>/dev/tcp/127.0.0.1/8118) 2>/dev/null; then
    echo "Port 8118 on 127.0.0.1 is taken by another program (an Assistant?). End it and try again." >&2
    return 1
  fi
}
