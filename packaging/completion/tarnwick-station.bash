# bash completion for tarnwick-station(1)

_tarnwick_station() {
    local cur prev place=1 ended=
    # A module is one word, though readline ends words at its punctuation, too.
    _get_comp_words_by_ref -n "=@:" cur prev

    # The place of the command, or a later one than the current word's if that belongs to an option.
    while [ "$place" -lt "$COMP_CWORD" ]; do
        case ${COMP_WORDS[place]} in
        --) ended=yes ;;
        -[mrt] | --module | --root | --transcript | --capture | --time-scale | --user-id | \
            --generator-fault | --generator-device)
            [ "${COMP_WORDS[place + 1]}" = = ] || place=$((place + 1))
            ;;
        -*) ;;
        *) break ;;
        esac
        place=$((place + 1))
        while [[ ${COMP_WORDS[place]-} == [=@:]* ]]; do place=$((place + 2)); done
        [ -z "$ended" ] || break
    done

    if [ "$place" -gt "$COMP_CWORD" ]; then
        if [[ $cur == --*=* ]]; then
            prev=${cur%%=*}
            cur=${cur#*=}
        fi
        _tarnwick_station_argument
    elif [ -z "$ended" ] && [ "$place" -eq "$COMP_CWORD" ] && [[ $cur == -* ]]; then
        # shellcheck disable=SC2207 # no choice has a blank
        COMPREPLY=($(compgen -W '-m --module -r --root -t --transcript --capture --time-scale
            --user-id --no-generator --generator-fault --generator-device --driver-loaded --verbose
            --help --version' -- "$cur"))
    else
        _command_offset "$place"
    fi
}

_tarnwick_station_argument() {
    local faults='silent error garbage late split hangup hangup-mid hangup-after'
    # shellcheck disable=SC2207 # no choice has a blank
    case $prev in
    -m | --module) _tarnwick_station_module ;;
    -r | --root) _filedir -d ;;
    -t | --transcript | --capture | --generator-device) _filedir ;;
    --generator-fault) COMPREPLY=($(compgen -W "$faults" -- "$cur")) ;;
    esac
}

_tarnwick_station_module() {
    local last=${cur##*,} choices
    local front=${cur%"$last"}
    case $last in
    sim=*) choices='sim=present sim=absent sim=pin sim=error' ;;
    asleep=*) choices='asleep=yes asleep=no' ;;
    phonebook=*) choices='phonebook=stuck phonebook=good' ;;
    fault=*) choices="fault=${faults// / fault=}" ;;
    *) choices='sim= busy= asleep= temp= phonebook= fault=' ;;
    esac
    [ -n "$front" ] || choices='hspa evdo 0x0019 0x8222 0x8231 0x8232'
    # shellcheck disable=SC2207
    COMPREPLY=($(compgen -P "$front" -W "$choices" -- "$last"))
    # readline puts in what comes behind the last end of a word.
    if [[ $COMP_WORDBREAKS == *=* && $cur == *=* ]]; then
        COMPREPLY=("${COMPREPLY[@]#"${cur%=*}="}")
    fi
    compopt -o nospace
}

complete -F _tarnwick_station tarnwick-station
