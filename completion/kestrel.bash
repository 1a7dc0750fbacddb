# Completion of kestrel(1) for bash.
#
# It completes the words of a command but no values, since what is on the line gets written to the
# board; for a value it lists the form. It does not run kestrel, which opens the device whatever it
# is asked to do.
#
# shellcheck shell=bash

_kestrel_words()
{
    mapfile -t COMPREPLY < <(compgen -W "$*" -- "$cur")
}

# Two kinds of completion put on the line what others list.
_kestrel_in_turn=37
_kestrel_all_at_once=42

_kestrel_commands()
{
    local erasing="--erase --format_v1 --format_v2"
    [[ $COMP_TYPE -ne _kestrel_in_turn ]] || erasing=
    _kestrel_words -r -w --help --raw "$erasing"
}

# Two candidates with no beginning in common are listed and leave the line as it is.
_kestrel_form()
{
    [[ $COMP_TYPE -ne _kestrel_in_turn ]] || return
    compopt -o nosort
    COMPREPLY=("<$1>" "")
}

_kestrel()
{
    # shellcheck disable=SC2034
    local cur prev words cword
    _init_completion -n : || return
    [[ $COMP_TYPE -ne _kestrel_all_at_once ]] || return

    local writable="--mac1 --mac2 --mac3 --mac4 --productiondate --servicedate --type
        --hardware_rev --pcb_rev --pcb_ser_num --ser_num"
    case $cword,${words[1]},${words[2]} in
        1,*) _kestrel_commands ;;
        2,-r,*) _kestrel_words "$writable" --version --crc --valid ;;
        2,-w,*) _kestrel_words "$writable" ;;
        3,-w,--mac[1-4]) _kestrel_form "MAC address, 17 characters: 02:a5:5e:00:00:01" ;;
        3,-w,--*date) _kestrel_form 'date, in quotes: "2026-11-15 10:42:16"' ;;
        3,-w,--type) _kestrel_form "hexadecimal number: 0x1e" ;;
        3,-w,--*_rev) _kestrel_form "exactly 3 characters: 001" ;;
        3,-w,--pcb_ser_num) _kestrel_form "up to 12 characters, up to 36 in version 2" ;;
        3,-w,--ser_num) _kestrel_form "up to 13 characters" ;;
    esac
} &&
    complete -F _kestrel kestrel
