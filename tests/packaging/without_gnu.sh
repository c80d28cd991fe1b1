#!/usr/bin/env bash
# Runs a command with a Mac's shell tools, as far as another host can have them: BSD's awk, a readlink
# that knows no -f, and without what only Linux has.
#
#   without_gnu.sh COMMAND [ARGUMENT]...
set -euo pipefail
desk=$(mktemp -d)
trap 'rm -rf "$desk"' EXIT
IFS=:
for folder in $PATH; do
    ln -s "$folder"/* "$desk/" 2>/dev/null || true # the first of a name counts
done
real=$(type -P readlink)
cd "$desk"
rm -f awk flock gawk mawk nproc readlink realpath seq setpriv setsid strace tac time timeout
ln -s original-awk awk
cat >readlink <<END
#!/bin/sh
case \$1 in -*[efm]*) echo "readlink: illegal option \$1" >&2 && exit 1 ;; esac
exec $real "\$@"
END
chmod +x readlink
cd "$OLDPWD"
PATH=$desk "$@"
