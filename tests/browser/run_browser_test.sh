#!/usr/bin/env bash
# run_browser_test.sh - the gallery in Chromium against a real server on the demo library.
# Usage: run_browser_test.sh TESSELLAN MAKE_DEMO_LIBRARY SCREENSHOT_DIR
set -u
exe=$1
shots=$(mkdir -p "$3" && cd "$3" && pwd) || exit 1
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=../support/serverlib.sh
. "$here/../support/serverlib.sh"
skip() { echo "SKIPPED: $*"; exit 77; }
for tool in node npm; do command -v $tool >/dev/null || skip "$tool is not installed"; done
[ -x /usr/bin/chromium ] || [ -n "${CHROMIUM:-}" ] || skip "chromium is not installed"

work=$(mktemp -d /tmp/tessellan-browser.XXXXXX)
trap 'stop_servers; wait 2>/dev/null; rm -rf "$work"' EXIT

# Trust the system's certificate store (where a site's own proxy authority is installed), as
# the rest of a Debian machine does. Without the registry there is nothing to drive the
# browser with: that skips the test, it does not fail it.
[ -f /etc/ssl/certs/ca-certificates.crt ] && export NODE_EXTRA_CA_CERTS=${NODE_EXTRA_CA_CERTS:-/etc/ssl/certs/ca-certificates.crt}
if [ ! -d "$here/node_modules/playwright-core" ]; then
    (cd "$here" && timeout 300 npm install --no-audit --no-fund --loglevel=error \
        --fetch-retries=1 --fetch-timeout=30000) >"$work/npm.log" 2>&1 ||
        skip "playwright-core could not be installed from npm (registry unreachable?): $(grep -m1 -v '^\s*$' "$work/npm.log")"
fi

# The server on a port the system picks.
"$2" "$work/library" "$work/open.plist" --port 0 >/dev/null || exit 1
start_server open --prefs "$work/open.plist" || { echo "the server did not start"; cat "$work/open.log"; exit 1; }

cd "$here"
TESSELLAN_URL="http://127.0.0.1:$server_port/" TESSELLAN_SCREENSHOTS="$shots" \
    node --test gallery.test.mjs || { status=$?; cat "$work/open.log"; exit $status; }
