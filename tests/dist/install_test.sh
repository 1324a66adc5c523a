#!/usr/bin/env bash
# An install into a prefix of its own, judged as a desktop, a manual reader and systemd judge it.
#   install_test.sh BUILD_DIR VERSION files   the files, the menu entry, the icon, the manual
#                                             pages, and the installed console run as a user
#                                             and as the service runs it
#   install_test.sh BUILD_DIR VERSION unit    systemd's own check of the unit and of its user
#                                             (status 77, skipped, without systemd's tools)
# Everything happens in a temporary folder, removed at the end; the run's HOME and XDG folders
# are the test launcher's.
set -euo pipefail
build=$1
version=$2
check=$3

work=$(mktemp -d "${TMPDIR:-/tmp}/tarnwave-install-XXXXXX")
trap 'chmod -R u+rwx "$work" 2> /dev/null; rm -rf "$work"' EXIT
prefix=$work/prefix
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

cmake --install "$build" --prefix "$prefix" > "$work/install.log" 2>&1 || {
    cat "$work/install.log"
    exit 1
}
unit=$prefix/lib/systemd/system/tarnwave@.service

# Runs a command and fails the check when it prints anything on its error output.
quiet() {
    local what=$1
    shift
    local err=$work/err
    if ! "$@" > /dev/null 2> "$err"; then
        fail "$what: $* ended with an error: $(cat "$err")"
    elif [ -s "$err" ]; then
        fail "$what: $* warned: $(cat "$err")"
    fi
}

need() {
    command -v "$1" > /dev/null || {
        echo "FAIL: $1 is missing (package $2; scripts/install-deps.sh installs it)"
        exit 1
    }
}

check_files() {
    # Exactly these: no test, benchmark or fuzz program goes with an install.
    local expected actual
    expected=$(sort << LIST
bin/tarnwave
bin/tarnwave-sim
bin/tarnwave-tag
lib/systemd/system/tarnwave@.service
lib/sysusers.d/tarnwave.conf
share/applications/tarnwave.desktop
share/doc/tarnwave/copyright
share/icons/hicolor/scalable/apps/tarnwave.svg
share/man/man1/tarnwave-sim.1.gz
share/man/man1/tarnwave-tag.1.gz
share/man/man1/tarnwave.1.gz
LIST
)
    actual=$(cd "$prefix" && find . -type f -o -type l | sed 's|^\./||' | sort)
    [ "$actual" = "$expected" ] || fail "installed files differ: $(diff <(echo "$expected") <(echo "$actual") | grep '^[<>]' | tr '\n' ' ')"

    for program in tarnwave tarnwave-sim tarnwave-tag; do
        local line
        line=$("$prefix/bin/$program" --version 2>&1) || fail "$program --version failed: $line"
        [ "$line" = "$program $version" ] || fail "$program --version says \"$line\""
    done
}

check_desktop_entry() {
    need desktop-file-validate desktop-file-utils
    local entry=$prefix/share/applications/tarnwave.desktop
    quiet "desktop entry" desktop-file-validate "$entry"
    local exec icon
    exec=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$entry")
    icon=$(sed -n 's/^Icon=//p' "$entry")
    [ -x "$prefix/bin/$exec" ] || fail "the desktop entry starts \"$exec\", which is not installed"
    [ -f "$prefix/share/icons/hicolor/scalable/apps/$icon.svg" ] ||
        fail "the desktop entry's icon \"$icon\" is not installed"
    local svg=$prefix/share/icons/hicolor/scalable/apps/tarnwave.svg
    head -c 200 "$svg" | grep -q '<svg' || fail "the icon does not start as an SVG image"
    tail -c 20 "$svg" | grep -q '</svg>' || fail "the icon does not end as an SVG image"
    if command -v rsvg-convert > /dev/null; then
        quiet "icon" rsvg-convert -w 64 -h 64 -o "$work/icon.png" "$svg"
    fi
}

check_manual_pages() {
    need groff groff-base
    local page
    for page in tarnwave tarnwave-sim tarnwave-tag; do
        local file=$prefix/share/man/man1/$page.1.gz
        # Compressed without a name or time, as Debian's policy asks.
        gzip -t "$file" || fail "the page of $page is no whole gzip file"
        [ "$(od -An -tu1 -j4 -N4 "$file" | tr -s ' ')" = " 0 0 0 0" ] ||
            fail "the page of $page keeps a time in its gzip header"
        # groff reports a bad request on its error output and still ends with 0.
        gzip -dc "$file" > "$work/$page.1"
        quiet "manual page $page" groff -man -ww -z "$work/$page.1"
        if command -v man > /dev/null; then
            quiet "manual page $page" man --warnings -E UTF-8 -l "$file"
            local found
            found=$(MANPATH=$prefix/share/man man -w "$page" 2> /dev/null) ||
                fail "man does not find $page under the prefix"
            [ "$found" = "$file" ] || [ -z "$found" ] || fail "man finds $page at $found"
        fi
        local text
        text=$(groff -man -Tascii -P-cbou "$work/$page.1" 2> /dev/null || true)
        # A here-string, not echo into grep -q: grep -q ends at its first match, and echo's next
        # write then fails, which pipefail takes for a failed check.
        grep -Eq "^ *$page +- " <<< "$text" || fail "the page of $page names another program"
        grep -q "TarnWave $version" <<< "$text" || fail "the page of $page is not of version $version"
    done
}

# The installed console, started as a user starts it: from an install's bin folder it keeps its
# station in the user's data folder, and says so.
check_installed_console() {
    local data=$work/data out
    out=$(env -u TARNWAVE_HOME XDG_DATA_HOME="$data" \
        "$prefix/bin/tarnwave" --headless --quit-after 0 2>&1) || fail "the installed console failed: $out"
    local station=$data/tarnwave/station
    for folder in Music Rotations Sweepers Playlist; do
        [ -d "$station/$folder" ] || fail "no $folder in the new station $station"
    done
    grep -q "TarnWave Started" "$station/app.log" 2> /dev/null || fail "the new station's log does not say it started"
    grep -qF "New station in $station" <<< "$out" || fail "no word of the new station: $out"
    [ ! -e "$prefix/bin/app.log" ] || fail "the installed console wrote beside itself"
}

# The unit's command line, as systemd would run it for tarnwave@radio1 (%S is /var/lib for a
# system unit; here a folder of the test's).
check_unit_command() {
    local command
    command=$(sed -n 's/^ExecStart=//p' "$unit")
    [ -n "$command" ] || { fail "the unit has no ExecStart"; return; }
    case $command in
        "$prefix/bin/tarnwave "*) ;;
        *) fail "the unit starts \"$command\", not the installed console" ;;
    esac
    command=${command//%S/$work/state}
    command=${command//%i/radio1}
    local out
    # shellcheck disable=SC2086  # the unit's command line is split at blanks, as systemd does
    out=$(env -u TARNWAVE_HOME $command --quit-after 0 2>&1) || fail "the unit's command failed: $out"
    grep -q "TarnWave Started" "$work/state/tarnwave/radio1/app.log" 2> /dev/null ||
        fail "the unit's command did not run a station on %S/tarnwave/%i: $out"
}

check_unit() {
    if ! command -v systemd-analyze > /dev/null; then
        echo "skipped: systemd-analyze is not installed (package systemd)"
        exit 77
    fi
    # The unit's manual page is looked for where the install put it.
    quiet "unit" env MANPATH="$prefix/share/man" systemd-analyze verify "$unit"
    if command -v systemd-sysusers > /dev/null; then
        # The system user made in a root of the test's own.
        mkdir -p "$work/root/etc"
        systemd-sysusers --root="$work/root" "$prefix/lib/sysusers.d/tarnwave.conf" > "$work/sysusers.log" 2>&1 ||
            fail "systemd-sysusers refused the system user: $(cat "$work/sysusers.log")"
        grep -q '^tarnwave:.*:/var/lib/tarnwave:' "$work/root/etc/passwd" ||
            fail "no system user tarnwave with its home /var/lib/tarnwave"
        local user
        user=$(sed -n 's/^User=//p' "$unit")
        [ "$user" = tarnwave ] || fail "the unit runs as \"$user\", not the system user made"
    fi
}

case $check in
    files)
        check_files
        check_desktop_entry
        check_manual_pages
        check_installed_console
        check_unit_command
        ;;
    unit) check_unit ;;
    *)
        echo "usage: install_test.sh BUILD_DIR VERSION files|unit" >&2
        exit 2
        ;;
esac
if [ "$failures" -ne 0 ]; then
    echo "$failures failures"
    exit 1
fi
echo "passed: $check"
