#!/usr/bin/env bash
# The Debian package, made by cpack from this build and judged without installing it: its name,
# its dependencies (every library the programs load must be a dependency, as dpkg-shlibdeps
# found it), its files, its maintainer scripts, and the console unpacked into a root of its own.
#   package_test.sh BUILD_DIR VERSION
set -euo pipefail
build=$1
version=$2

for tool in cpack dpkg-deb dpkg-shlibdeps; do
    command -v "$tool" > /dev/null || {
        echo "FAIL: $tool is missing (scripts/install-deps.sh installs it)"
        exit 1
    }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tarnwave-package-XXXXXX")
trap 'chmod -R u+rwx "$work" 2> /dev/null; rm -rf "$work"' EXIT
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/out" > "$work/cpack.log" 2>&1 || {
    cat "$work/cpack.log"
    exit 1
}
arch=$(dpkg --print-architecture)
deb=$work/out/tarnwave_${version}_$arch.deb
[ -f "$deb" ] || {
    echo "FAIL: no $deb; cpack made: $(ls "$work/out")"
    exit 1
}
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = tarnwave ] || fail "Package is \"$(field Package)\""
[ "$(field Version)" = "$version" ] || fail "Version is \"$(field Version)\""
[ "$(field Architecture)" = "$arch" ] || fail "Architecture is \"$(field Architecture)\""
depends=$(field Depends)
echo "Depends: $depends"
echo "Recommends: $(field Recommends)"

# The package names of a Depends field, one a line, alternatives included.
names() { tr ',|' '\n' | sed -e 's/([^)]*)//g' -e 's/ //g' -e '/^$/d' | sort -u; }

dpkg -x "$deb" "$work/root"
# Every shared library a program is linked with (its own NEEDED entries; what those load in turn
# is their packages' business), found on this machine, must come from a package that Depends
# names.
links=()     # "program soname library", library empty when it is not found here
libraries=() # every library found, as ldd names it and with its links resolved
for program in tarnwave tarnwave-sim tarnwave-tag; do
    binary=$work/root/usr/bin/$program
    [ -x "$binary" ] || { fail "no /usr/bin/$program in the package"; continue; }
    loaded=$(ldd "$binary")
    while read -r soname; do
        library=$(echo "$loaded" | sed -n "s|^[[:space:]]*$soname => \(/[^ ]*\) .*|\1|p")
        links+=("$program $soname $library")
        [ -z "$library" ] || libraries+=("$library" "$(readlink -f "$library")")
    done < <(readelf -d "$binary" | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p')
done
# One look-up for them all: dpkg -S reads the whole package database at every call. A line is
# "package[:arch][, package...]: path"; a path no package holds gives no line.
declare -A owners
while IFS= read -r line; do
    path=/${line#*: /}
    owners[$path]=${line%%:*}
done < <(printf '%s\n' "${libraries[@]}" | sort -u | xargs -r dpkg -S 2> /dev/null | grep ': /' || true)
for link in "${links[@]}"; do
    read -r program soname library <<< "$link"
    [ -n "$library" ] || { fail "$program needs $soname, which is not found here"; continue; }
    owner=${owners[$library]:-${owners[$(readlink -f "$library")]:-}}
    [ -n "$owner" ] || { fail "$soname ($library) is from no package here"; continue; }
    names <<< "$depends" | grep -x "$owner" > /dev/null ||
        fail "$program is linked with $soname of $owner, which Depends does not name"
done
names <<< "$depends" | grep -x lame > /dev/null || fail "Depends does not name lame"
for program in espeak-ng ffmpeg; do
    # grep reads to the end (no -q): ended at its first match, it would fail the writer before it,
    # which pipefail takes for a failed check.
    field Recommends | names | grep -x "$program" > /dev/null || fail "Recommends does not name $program"
done

# Exactly the install's files under /usr: no test, benchmark or fuzz program.
expected=$(sort << LIST
./usr/bin/tarnwave
./usr/bin/tarnwave-sim
./usr/bin/tarnwave-tag
./usr/lib/systemd/system/tarnwave@.service
./usr/lib/sysusers.d/tarnwave.conf
./usr/share/applications/tarnwave.desktop
./usr/share/doc/tarnwave/copyright
./usr/share/icons/hicolor/scalable/apps/tarnwave.svg
./usr/share/man/man1/tarnwave-sim.1.gz
./usr/share/man/man1/tarnwave-tag.1.gz
./usr/share/man/man1/tarnwave.1.gz
LIST
)
actual=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' | sort)
[ "$actual" = "$expected" ] || fail "the package's files differ: $(diff <(echo "$expected") <(echo "$actual") | grep '^[<>]' | tr '\n' ' ')"
grep -q '^ExecStart=/usr/bin/tarnwave ' "$work/root/usr/lib/systemd/system/tarnwave@.service" ||
    fail "the packaged unit does not start /usr/bin/tarnwave"
# The rights, in Debian's machine-readable form, uncompressed where every package keeps them.
head -n 1 "$work/root/usr/share/doc/tarnwave/copyright" |
    grep -qx 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' ||
    fail "the copyright file is not in Debian's machine-readable form"

# The maintainer scripts: there, executable, and sound shell.
dpkg-deb -e "$deb" "$work/control"
for script in postinst prerm postrm; do
    [ -x "$work/control/$script" ] || { fail "no executable $script"; continue; }
    sh -n "$work/control/$script" || fail "$script is no sound shell script"
done

# The unpacked console runs: its version, and a station of its own in the user's data folder.
line=$("$work/root/usr/bin/tarnwave" --version 2>&1) || fail "tarnwave --version failed: $line"
[ "$line" = "tarnwave $version" ] || fail "tarnwave --version says \"$line\""
out=$(env -u TARNWAVE_HOME XDG_DATA_HOME="$work/data" \
    "$work/root/usr/bin/tarnwave" --headless --quit-after 0 2>&1) || fail "the unpacked console failed: $out"
grep -q "TarnWave Started" "$work/data/tarnwave/station/app.log" 2> /dev/null ||
    fail "the unpacked console did not start on a station in the data folder: $out"

if [ "$failures" -ne 0 ]; then
    echo "$failures failures"
    exit 1
fi
echo "passed"
