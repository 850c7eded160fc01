#!/usr/bin/env bash
# run_browser_test.sh - the gallery in Chromium against two real servers on the demo library:
# one open, one asking for a password.
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

# Both servers on ports the system picks; the second's preferences add the three password keys.
"$2" "$work/library" "$work/open.plist" --port 0 >/dev/null || exit 1
sed -e 's|^</dict>$|\t<key>auth</key>\n\t<true/>\n\t<key>user</key>\n\t<string>family</string>\n\t<key>pass</key>\n\t<string>s3cret \&amp; more</string>\n</dict>|' \
    "$work/open.plist" >"$work/auth.plist"
for name in open auth; do
    start_server $name --prefs "$work/$name.plist" || { echo "the $name server did not start"; cat "$work/$name.log"; exit 1; }
    declare "${name}_port=$server_port"
done

cd "$here"
TESSELLAN_URL="http://127.0.0.1:$open_port/" TESSELLAN_LIBRARY="$work/library" \
TESSELLAN_AUTH_URL="http://127.0.0.1:$auth_port/" TESSELLAN_USER=family TESSELLAN_PASS='s3cret & more' \
TESSELLAN_SCREENSHOTS="$shots" node --test gallery.test.mjs
status=$?
[ $status -eq 0 ] || { echo "--- open server"; cat "$work/open.log"; echo "--- auth server"; cat "$work/auth.log"; }
exit $status
