#!/usr/bin/env bash
# Keeps test runs out of the user's desktop trash. Every test has a home and a trash of its own
# (tests/test_env.sh.in); a test that reaches the user's trash has moved files there that nobody
# asked to delete.
#
#   scripts/trash-guard.sh snapshot FILE    writes what the user's trash holds (paths and times)
#   scripts/trash-guard.sh check FILE       compares the trash with FILE; prints what changed and
#                                           exits 1 when anything did
#   scripts/trash-guard.sh run COMMAND...   runs COMMAND between the two; its status, or 1 when it
#                                           succeeded and the trash changed
set -euo pipefail

# The trash of the user's home, and the one of the data folder when that is set elsewhere.
trash_folders() {
    local home_trash=$HOME/.local/share/Trash
    echo "$home_trash"
    if [[ -n ${XDG_DATA_HOME:-} && $XDG_DATA_HOME/Trash != "$home_trash" ]]; then
        echo "$XDG_DATA_HOME/Trash"
    fi
}

listing() {
    local folder
    while read -r folder; do
        if [[ -d $folder ]]; then
            find "$folder" -mindepth 1 -printf '%p %T@\n'
        fi
    done < <(trash_folders) | LC_ALL=C sort
}

check() {
    local before=$1 now
    now=$(mktemp)
    listing > "$now"
    if ! cmp -s "$before" "$now"; then
        echo "The test run changed the user's trash ($(trash_folders | paste -sd ' ')):"
        diff "$before" "$now" | sed -n 's/^< /  before: /p; s/^> /  after:  /p' || true
        rm -f "$now"
        return 1
    fi
    rm -f "$now"
}

case ${1:-} in
    snapshot)
        listing > "$2"
        ;;
    check)
        check "$2"
        ;;
    run)
        shift
        before=$(mktemp)
        trap 'rm -f "$before"' EXIT
        listing > "$before"
        status=0
        "$@" || status=$?
        check "$before" || { [[ $status -ne 0 ]] || status=1; }
        exit "$status"
        ;;
    *)
        echo "usage: $0 snapshot FILE | check FILE | run COMMAND..." >&2
        exit 2
        ;;
esac
