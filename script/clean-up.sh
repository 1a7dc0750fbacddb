# shellcheck shell=sh
# Sourced by scripts that remove something when they end, whatever ends them: they define clean_up.
# A signal that is not trapped ends dash without its EXIT trap.
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
