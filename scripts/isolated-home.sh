# Sourced by the soak scripts: a home of their own under the folder given, so that a run never
# touches the user's settings, trash or desktop, and the console runs headless on its silent
# device.
#   . scripts/isolated-home.sh DIR
export HOME=$1/home
export XDG_DATA_HOME=$HOME/.local/share XDG_CACHE_HOME=$HOME/.cache XDG_CONFIG_HOME=$HOME/.config
export XDG_RUNTIME_DIR=$HOME/run
mkdir -p "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
export TARNWAVE_AUDIO=null QT_QPA_PLATFORM=offscreen
