# bash completion for Tarnwick(8)

_tarnwick() {
    local operands=() choices='' current=${COMP_WORDS[COMP_CWORD]}
    case ${COMP_WORDS[1]} in
    -b) operands=(band channel power switch tty) ;;
    -r) operands=(receiver band channel switch tty) ;;
    -s) operands=(receiver band channel power switch tty) ;;
    -[aefikmnptw]) operands=(tty) ;;
    esac
    if [ "$COMP_CWORD" -eq 1 ]; then
        choices='-a -b -c -e -f -h -i -k -m -n -p -r -s -t -v -w'
    else
        case ${operands[COMP_CWORD - 2]-} in
        receiver) choices='1 2' ;;
        band) choices='0 1 2 3 4 5 6 7 8' ;;
        switch) choices='0 1' ;;
        tty) choices=$(_tarnwick_ttys) ;;
        esac
    fi
    # shellcheck disable=SC2207 # no choice has a blank
    COMPREPLY=($(compgen -W "$choices" -- "$current"))
}

# The callout devices of the station root, by the names that they stand for, or of the machine.
_tarnwick_ttys() {
    local root=${TARNWICK_STATION-} node nodes
    if [ -n "$root" ]; then nodes=("$root"/dev/cu.*); else nodes=(/dev/cu.wwan*); fi
    for node in "${nodes[@]}"; do
        [ ! -e "$node" ] || echo "${node#"$root"}"
    done
}

complete -F _tarnwick Tarnwick
