# Completion of kestrel-record(1) for bash: commands, options, fields and files.
#
# It does not run kestrel-record.
#
# shellcheck shell=bash

_kestrel_record()
{
    # shellcheck disable=SC2034
    local cur prev words cword
    _init_completion -n := || return

    local fields="version mac1 mac2 mac3 mac4 usb_local_mac usb_host_mac productiondate servicedate
        type hardware_rev pcb_rev pcb_ser_num ser_num entity_id entity_model_id ari aio_calibration
        block8"
    local candidates
    case ${words[1]},$prev,$cur in
        *,"${words[0]}",*) candidates="read check diff write image --help --version" ;;
        *,--device,* | *,-o,*) _filedir && return ;;
        *,--wait,*) ;;
        *,--set,*=*) ;;
        *,--set,*)
            mapfile -t COMPREPLY < <(compgen -S = -W "$fields" -- "$cur")
            compopt -o nospace
            return
            ;;
        read,*,-*) candidates="--device --wait --damaged --help" ;;
        check,*,-*) candidates="--set --json --help" ;;
        diff,*,-*) candidates="--device --wait --set --json --help" ;;
        write,*,-*) candidates="--device --wait --set --format --dry-run -n --json --help" ;;
        image,*,-*) candidates="--set -o --help" ;;
        read,*) candidates=$fields ;;
        check,* | diff,* | write,* | image,*) _filedir ;;
    esac
    [[ -z $candidates ]] || mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$cur")
} &&
    complete -F _kestrel_record kestrel-record
