#!/usr/bin/env bash
# Makes build-libplist, a static libplist for CMake to find: Debian's libplist-dev has none, and a
# short run of the tool is mostly its start, a third of which would go into loading libraries.
#
# It is compiled from the source package, which lies beside the binary one. When there is none to be
# had, an empty folder is left, and the shared library is linked; remove the folder to try again.
set -euo pipefail
target=$(cd "$(dirname "$0")/.." && pwd)/build-libplist
version=2.2.0
archive=libplist_$version.orig.tar.bz2
checksum=SHA256:bd700c1a7862fe732e9292ef65e21bd25e05d09f542ff0b1c49aace0d1bd495e
[ ! -d "$target" ] || exit 0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fetch() {
    local uri
    uri=$(apt-get download --print-uris libplist-dev 2>/dev/null | cut -d "'" -f 2) && [ "$uri" ] &&
        /usr/lib/apt/apt-helper download-file "${uri%/*}/$archive" "$archive" "$checksum" &>/dev/null
}
fetch || {
    echo "No source of libplist $version: Tarnwick will load the shared library" >&2
    mkdir "$target"
    exit 0
}

tar -xjf "$archive" --strip-components 1
# What its configure script would find out.
cat >src/config.h <<'END'
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define __BIG_ENDIAN__ 1
#endif
#define HAVE_GMTIME_R 1
#define HAVE_LOCALTIME_R 1
#define HAVE_MEMMEM 1
#define HAVE_STRPTIME 1
#define HAVE_TIMEGM 1
#define HAVE_TM_TM_GMTOFF 1
#define HAVE_TM_TM_ZONE 1
END
# As Debian compiles it, which does not trust property lists either.
cc -O2 -g -fPIC -w -fstack-protector-strong -D_FORTIFY_SOURCE=2 -D_GNU_SOURCE -DHAVE_CONFIG_H \
    -I src -I include -I libcnary/include -c src/*.c libcnary/node.c libcnary/node_list.c
mkdir -p made/lib/pkgconfig
ar rcs made/lib/libplist-2.0.a ./*.o
mkdir made/include
cp -R include/plist made/include
# Relative to itself, so that the tree can be moved.
cat >made/lib/pkgconfig/libplist-2.0.pc <<END
prefix=\${pcfiledir}/../..
Name: libplist
Description: Apple property lists, linked statically
Version: $version
Cflags: -I\${prefix}/include
Libs: -L\${prefix}/lib -lplist-2.0
END
mv made "$target"
