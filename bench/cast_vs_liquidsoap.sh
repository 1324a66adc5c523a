#!/usr/bin/env bash
# The whole station on the air with one MP3 128 kbit/s cast, beside Liquidsoap doing the same job
# (a playlist of the same files with a 1.5 s crossfade to the same Icecast), measured in the same
# run: CPU (user + system, the encoder programs included) and resident memory (the sum of the
# processes, highest sample). Prints each figure and the ratios against Liquidsoap.
#   bench/cast_vs_liquidsoap.sh [SECONDS]    (default 300; needs a build in build/, icecast2 and
#                                              liquidsoap from Debian)
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-300}
work=$(mktemp -d)
pids=()
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2> /dev/null || true; done
    wait 2> /dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
command -v liquidsoap > /dev/null || { echo "liquidsoap is not installed (apt-get install liquidsoap)"; exit 1; }

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
mkdir -p "$work/icecast" && chmod 777 "$work" "$work/icecast"
cat > "$work/icecast/icecast.xml" << XML
<icecast><limits><sources>4</sources></limits>
<authentication><source-password>hackme</source-password><admin-user>admin</admin-user><admin-password>hackme</admin-password></authentication>
<hostname>127.0.0.1</hostname><listen-socket><port>$port</port><bind-address>127.0.0.1</bind-address></listen-socket>
<paths><basedir>/usr/share/icecast2</basedir><logdir>$work/icecast</logdir><webroot>/usr/share/icecast2/web</webroot><adminroot>/usr/share/icecast2/admin</adminroot></paths>
<logging><accesslog>access.log</accesslog><errorlog>error.log</errorlog><loglevel>1</loglevel></logging>
<security><chroot>0</chroot><changeowner><user>nobody</user><group>nogroup</group></changeowner></security></icecast>
XML
icecast2 -c "$work/icecast/icecast.xml" > /dev/null 2>&1 &
pids+=($!)
sleep 1

scripts/make-demo-station.sh "$work/station" > /dev/null
printf '[Shoutcast]\nseverType=5\nseverPath=127.0.0.1\nseverPort=%s\nseverMount=tarnwave\nPW=hackme\nautoReConnect=1\n' \
    "$port" >> "$work/station/appSettings.ini"

# CPU time in ns of a process's threads and its children's (the scheduler's exact run time: the
# tick counts of /proc/PID/stat misjudge threads that wake on a timer), and their summed VmRSS in kB.
tree() { echo "$1"; pgrep -P "$1" || true; }
ticks() { local t=0 n; for p in $(tree "$1"); do
    for task in /proc/"$p"/task/*; do
        n=$(awk '{print $1}' "$task/schedstat" 2> /dev/null || echo 0)
        t=$((t + ${n:-0}))
    done; done; echo $t; }
rss() { local r=0; for p in $(tree "$1"); do
    r=$((r + $(awk '/VmRSS/ {print $2}' "/proc/$p/status" 2> /dev/null || echo 0))); done; echo $r; }

# Measures a process for $secs seconds after a 20 s settling time; prints "CPU% peakRSS".
measure() {
    local pid=$1
    sleep 20
    local t0 peak=0 r
    t0=$(ticks "$pid")
    for ((i = 0; i < secs; i++)); do
        r=$(rss "$pid"); ((r > peak)) && peak=$r
        sleep 1
    done
    local t1; t1=$(ticks "$pid")
    echo "$(echo "scale=3; ($t1 - $t0) * 100 / 1000000000 / $secs" | bc) $peak"
}

QT_QPA_PLATFORM=offscreen TARNWAVE_AUDIO=null TARNWAVE_HOME="$work/station" build/app/tarnwave \
    > "$work/tarnwave.out" 2>&1 &
tw=$!
pids+=($tw)
read -r twCpu twRss < <(measure "$tw")
curl -s -u admin:hackme "http://127.0.0.1:$port/admin/stats" | grep -q '<source mount="/tarnwave">' \
    || { echo "TarnWave did not reach the server"; exit 1; }
kill "$tw"; wait "$tw" 2> /dev/null || true

cat > "$work/station.liq" << LIQ
settings.init.allow_root.set(true)
settings.log.stdout.set(false)
s = playlist(mode="randomize", reload_mode="never", "$work/station/Music")
s = crossfade(duration=1.5, s)
output.icecast(%mp3(bitrate=128), host="127.0.0.1", port=$port, password="hackme",
               mount="/liquidsoap", mksafe(s))
LIQ
liquidsoap "$work/station.liq" > "$work/liquidsoap.out" 2>&1 &
liq=$!
pids+=($liq)
read -r liqCpu liqRss < <(measure "$liq")
curl -s -u admin:hackme "http://127.0.0.1:$port/admin/stats" | grep -q '<source mount="/liquidsoap">' \
    || { echo "Liquidsoap did not reach the server"; tail -5 "$work/liquidsoap.out"; exit 1; }

echo "seconds measured: $secs"
echo "TarnWave   CPU ${twCpu} %  RSS ${twRss} kB (console + encoder)"
echo "Liquidsoap CPU ${liqCpu} %  RSS ${liqRss} kB"
echo "RATIO cpu $(echo "scale=3; $twCpu / $liqCpu" | bc)  (target <= 0.6)"
echo "RATIO rss $(echo "scale=3; $twRss / $liqRss" | bc)  (target <= 0.5)"
