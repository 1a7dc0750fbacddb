# Completion of kestrel-boardtest(1) for bash.
#
# shellcheck shell=bash

_kestrel_boardtest()
{
    # shellcheck disable=SC2034
    local cur prev words cword
    _init_completion || return
    [[ $cword -ne 1 ]] || mapfile -t COMPREPLY < <(compgen -W "0 1 2" -- "$cur")
} &&
    complete -F _kestrel_boardtest kestrel-boardtest
