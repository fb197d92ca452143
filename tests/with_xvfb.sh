#!/bin/sh
# Runs one program under a virtual X server of its own. The server chooses a free display
# number itself (-displayfd) and reports it once it accepts connections, so test programs
# started in parallel never race for the same display the way `xvfb-run -a` can.
set -u
work=$(mktemp -d) || exit 1
mkfifo "$work/display" || exit 1
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$work/display" 2>"$work/log" &
server=$!
cleanup() {
    kill "$server" 2>/dev/null
    wait "$server" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM
# The read ends at the number or, if the server dies first, at end of file.
read -r display <"$work/display" || display=
if [ -z "$display" ]; then
    echo "with_xvfb: the X server did not start" >&2
    cat "$work/log" >&2
    exit 1
fi
DISPLAY=":$display" "$@"
status=$?
exit "$status"
