# bash completion for tarnwick-station(1)
complete -F _longopt tarnwick-station
