#!/usr/bin/env bash
# Types lines into the shells themselves and looks at what they offer for the last word.
#
#   completion_test.sh COMPLETION_FOLDER TARNWICK STATION
set -euo pipefail
completion=$1 tarnwick=$2 station=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0 tested=0

cd "$work"
mkdir -p root/dev lines
touch line.log
ln -s /dev/null root/dev/cu.wwanCMD19
ln -s /dev/null root/dev/cu.wwanCMD29
ln -s /nowhere root/dev/cu.wwanCMD39
ln -s /dev/null root/dev/tty.KeySerial1
export TARNWICK_STATION=$work/root LC_ALL=C

usage=$("$tarnwick") || [ $? -eq 2 ]
letters=$(sed -n 's/^  \(-.\) : .*/\1/p' <<<"$usage" | sort | xargs)
names=$("$station" --help | sed -n 's/.*  *\(--[a-z-]*\) .*/\1/p' | sort | xargs)

# A line, and what is offered for its last word: sorted, and without what stands before the word's
# last comma or equals sign.
cat >cases <<END
Tarnwick |$letters
Tarnwick -r |1 2
Tarnwick -s 1 |0 1 2 3 4 5 6 7 8
Tarnwick -s 1 3 |
Tarnwick -s 1 3 62 -50 |0 1
Tarnwick -s 1 3 62 -50 0 |/dev/cu.wwanCMD19 /dev/cu.wwanCMD29
Tarnwick -b 7 9400 20 |0 1
Tarnwick -w /dev/cu.wwanCMD2|/dev/cu.wwanCMD29
Tarnwick -w /dev/cu.wwanCMD29 |
Tarnwick -v |
tarnwick-station --|$names
tarnwick-station -m |0x0019 0x8222 0x8231 0x8232 evdo hspa
tarnwick-station -m hspa,|asleep busy fault phonebook sim temp
tarnwick-station -m hspa,sim=|absent error pin present
tarnwick-station --module=hspa,sim=a|absent
tarnwick-station -m hspa,sim=pin,|asleep busy fault phonebook sim temp
tarnwick-station -m hspa,sim=pin,fault=hangup|hangup hangup-after hangup-mid
tarnwick-station --generator-fault s|silent split
tarnwick-station -r li|lines
tarnwick-station --transcript=li|line.log lines
tarnwick-station -m hspa,sim=pin Tarnwick -r |1 2
tarnwick-station --time-scale=1 -m hspa,fault=late@AT+CPIN --no-generator -- Tarnwick -b |0 1 2 3 4 5 6 7 8
END
cut -d '|' -f 1 cases >typed

# check SHELL: SHELL.out has a line for each case, with all that was offered put in.
check() {
    tested=1
    awk -F '|' -v shell="$1" '
        # The candidates in the typed line, as they stand in the cases.
        function offered(line, typed,    words, count, i, j, word, text) {
            sub(/[^ ]*$/, "", line)
            count = split(substr(typed, length(line) + 1), words, " ")
            for (i = 1; i <= count; ++i) {
                word = words[i] ""
                sub(/[=\/]$/, "", word)
                sub(/.*[,=]/, "", word)
                for (j = i; j > 1 && words[j - 1] > word; --j) words[j] = words[j - 1]
                words[j] = word
            }
            for (i = 1; i <= count; ++i) {
                if (words[i] != words[i - 1]) text = text (text == "" ? "" : " ") words[i]
            }
            return text
        }
        NR == FNR { typed[NR] = $0; next }
        offered($1, typed[FNR]) == $2 { next }
        {
            printf "%s: %s\n   wanted: %s\n  offered: %s\n", shell, $1, $2, offered($1, typed[FNR])
            wrong = 1
        }
        END { exit wrong }' "$1.out" cases || status=1
}

# readline puts in all that it would offer (M-*), and the line is run: as functions, the programs
# print their words. Without a terminal of its own, the shell leaves the test's alone.
loader=/usr/share/bash-completion/bash_completion
if [ -r $loader ]; then
    cat >bashrc <<END
. $loader
. '$completion/Tarnwick.bash'
. '$completion/tarnwick-station.bash'
Tarnwick() { echo Tarnwick "\$@"; }
tarnwick-station() { echo tarnwick-station "\$@"; }
END
    sed 's/$/\x1b*/' typed |
        INPUTRC=/dev/null HISTFILE='' PS1='' setsid -w bash --rcfile bashrc -i >bash.out 2>/dev/null
    check bash
else
    echo 'bash: skipped, bash-completion is not installed'
fi

# zsh edits lines on a terminal only. Its completions go through compadd, which notes them down.
if command -v zsh >/dev/null; then
    cat >.zshrc <<END
# compinit looks into every file of fpath, which takes seconds; few of them are used.
all=(\$fpath)
fpath=('$completion' \$^fpath/compinit(N:h))
autoload -Uz compinit && compinit -u -D
fpath+=(\$all)
autoload -Uz \$^all/_*(N:t)
Tarnwick() {}
tarnwick-station() {}
compadd() {
    local -a found
    if [[ \${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
        builtin compadd -A found "\$@"
        offered+=(\$found)
        [[ -z \${@[(r)-(l|)d]} ]] || described+=("\${(@P)@[\${@[(i)-(l|)d]}+1]}")
    fi
    builtin compadd "\$@"
}
zle -C offer list-choices _main_complete
zle-line-init() {
    local line
    while IFS= read -r line; do
        offered=() BUFFER=\$line CURSOR=\$#line
        zle offer
        print -r -- "\${line% *} \$offered"
    done <typed >zsh.out
    print -rl -- \$described >zsh.described
    exit
}
zle -N zle-line-init
END
    # shellcheck disable=SC2016 # zsh's variables
    timeout 60 zsh -f -c 'zmodload zsh/zpty && zpty shell "TERM=vt100 ZDOTDIR=$PWD zsh -d -i"
        while zpty -r shell output; do :; done'
    check zsh
    for name in 'primary' 'GSM 1800' 'print whether there is a SIM' 'log what goes over the wires'; do
        grep -q "$name" zsh.described || { echo "zsh: no description: $name" && status=1; }
    done
else
    echo 'zsh: skipped, it is not installed'
fi
[ $tested = 1 ] || exit 77
exit $status
