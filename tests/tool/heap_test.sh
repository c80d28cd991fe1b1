#!/usr/bin/env bash
# Neither library of the tool asks for memory from the heap: the names that would are not in it.
#
#   heap_test.sh NM LIBRARY...
set -euo pipefail
nm=$1
shift
symbols=$("$nm" -u "$@")
# A list that lacks what is surely called is no list.
grep -Eq '(^|[ _])printf$|printf_chk$' <<<"$symbols"
# A Mac's nm has no blank before a name, and its compiler one underscore more.
if grep -E '(^| )_{0,2}(malloc|calloc|realloc|reallocarray|aligned_alloc|posix_memalign|v?asprintf(_chk)?|strn?dup|Zn[wa][jm].*)$' <<<"$symbols"; then
    echo 'taken from the heap'
    exit 1
fi
