# bash completion for tarnwick-station(1)

_tarnwick_station() {
    COMPREPLY=()
    # A word here reaches from blank to blank; bash has parted it at "=" and ":". `starts` says where.
    local words=() starts=() index last=-1 joined=''
    for ((index = 0; index <= COMP_CWORD; ++index)); do
        if [[ $joined || (${COMP_WORDS[index]} == [=:]* && $last -ge 0) ]]; then
            words[last]+=${COMP_WORDS[index]}
        else
            words[++last]=${COMP_WORDS[index]}
            starts[last]=$index
        fi
        [[ ${COMP_WORDS[index]} == *[=:] ]] && joined=yes || joined=''
    done

    # Which option waits for its argument, and where the command begins.
    local option='' command=''
    for ((index = 1; index < last; ++index)); do
        case $option:${words[index]} in
        ?*:*) option='' ;;
        :--) command=$((index + 1)) && break ;;
        :-[mrt] | :--module | :--root | :--transcript | :--capture | :--time-scale | :--user-id | \
            :--generator-fault | :--generator-device | :--generator-replay) option=${words[index]} ;;
        :-*) ;;
        *) command=$index && break ;;
        esac
    done

    local current=${words[last]}
    if [[ ! $option$command && $current == --*=* ]]; then
        option=${current%%=*}
        current=${current#*=}
    fi
    if [[ $command || (! $option && $current != -*) ]]; then
        _tarnwick_station_command "${starts[${command:-$last}]}"
    elif [[ $option ]]; then
        _tarnwick_station_argument "$option" "$current"
    else
        _tarnwick_station_offer "$current" '' '-m --module -r --root -t --transcript --capture
            --time-scale --user-id --no-generator --generator-fault --generator-device
            --generator-replay --driver-loaded --verbose -h --help --version --'
    fi
}

# COMMAND_PLACE: completes the command behind the options as if it stood alone.
_tarnwick_station_command() {
    if declare -F _command_offset >/dev/null; then
        _command_offset "$1"
    elif [ "$1" -eq "$COMP_CWORD" ]; then
        _tarnwick_station_names -c -- "${COMP_WORDS[COMP_CWORD]}"
    else
        _tarnwick_station_names -f -- "${COMP_WORDS[COMP_CWORD]}"
    fi
}

# OPTION CURRENT
_tarnwick_station_argument() {
    case $1 in
    -m | --module) _tarnwick_station_module "$2" ;;
    --generator-fault) _tarnwick_station_offer "$2" '' "$_tarnwick_station_faults" ;;
    -r | --root) _tarnwick_station_names -d -- "$2" ;;
    --time-scale | --user-id) ;;
    *) _tarnwick_station_names -f -- "$2" ;;
    esac
}

_tarnwick_station_faults='silent error garbage late split hangup hangup-mid hangup-after'

# CURRENT: the kind of a module, its keys and what they take.
_tarnwick_station_module() {
    local keys='id= firmware= loss= temp= echo= chatter= device= replay= fault='
    case $1 in
    evdo,* | 0x8222,* | 0x0019,*) keys+=' prl= asleep=' ;;
    *) keys+=' hardware= sku= sim= busy= phonebook=' ;;
    esac
    local before=${1%"${1##*,}"}
    case ${1##*,} in
    sim=*) _tarnwick_station_offer "$1" "${before}sim=" 'present absent pin error' ;;
    asleep=*) _tarnwick_station_offer "$1" "${before}asleep=" 'yes no' ;;
    echo=*) _tarnwick_station_offer "$1" "${before}echo=" 'off on' ;;
    phonebook=*) _tarnwick_station_offer "$1" "${before}phonebook=" 'stuck good' ;;
    fault=*) _tarnwick_station_offer "$1" "${before}fault=" "$_tarnwick_station_faults" ;;
    device=* | replay=*) _tarnwick_station_names -f -- "${1##*=}" ;;
    *=*) ;;
    *)
        [[ $before ]] || keys='hspa evdo'
        _tarnwick_station_offer "$1" "$before" "$keys"
        compopt -o nospace 2>/dev/null || true
        ;;
    esac
}

# Offers what compgen finds.
_tarnwick_station_names() {
    local name
    while read -r name; do COMPREPLY+=("$name"); done < <(compgen "$@")
    compopt -o filenames 2>/dev/null || true
}

# CURRENT BEFORE CHOICES: offers BEFORE and a choice where that begins as CURRENT does, without what
# bash does not count to the word.
_tarnwick_station_offer() {
    local choice parted=${1%"${1##*[=:]}"}
    for choice in $3; do
        choice=$2$choice
        [[ $choice != "$1"* ]] || COMPREPLY+=("${choice#"$parted"}")
    done
}

complete -F _tarnwick_station tarnwick-station
