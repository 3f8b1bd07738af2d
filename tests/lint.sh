#!/bin/sh
# Makes one check of the source; run in the root directory.
# usage: lint.sh CHECK BUILD-DIRECTORY
set -eu

# The files of the tree, tracked or new; of an archive, all that are not built or installed.
tree() {
    if [ -e .git ]; then
        git ls-files --cached --others --exclude-standard
    else
        find . '(' -name build -o -name node_modules ')' -prune -o -type f -print | cut -c 3-
    fi
}
# files PATTERN...: those that match, or are in a directory that does.
files() {
    tree | while read -r file; do
        for pattern in "$@"; do
            # shellcheck disable=SC2254 # a pattern indeed
            case $file in $pattern | $pattern/*) [ ! -f "$file" ] || echo "$file" ;; esac
        done
    done
}
cpp() { files '*.h' '*.hpp' '*.c' '*.cpp'; }
python() { files '*.py' && grep -l '^#!.*python' $(files scripts); }
shell() { grep -lE '^#!.*sh$' $(files .ci scripts tests packaging camera examples docs); }
javascript() { files "$@" '*.js' '*.mjs'; }

# on FILES COMMAND...: runs the command on the files, of which there must be some.
on() {
    [ "$1" ] || {
        echo "lint.sh: no files to check" >&2
        exit 1
    }
    list=$1
    shift
    "$@" $list
}

# A directory of source/ includes its own headers and those of common/ alone; each of these has two users or more.
includes() {
    if grep -rn '#include "[^"]*/' source | grep -v '#include "common/'; then return 1; fi
    for header in source/common/*; do
        users=$(grep -rlE "\"(common/)?${header##*/}\"" source | cut -d / -f 2 | sort -u)
        [ "$(echo "$users" | wc -l)" -gt 1 ] || {
            echo "$header has one user: $users" >&2
            return 1
        }
    done
}

# Each file that the README's table of modules names shows that module, or a header for C++ that includes it.
readme() {
    # shellcheck disable=SC2016 # Markdown's
    table=$(sed -n 's/^| `<\([^>]*\)>` .* `\(.*\)` |$/\1 \2/p' README.md)
    [ "$table" ]
    echo "$table" | while read -r header example; do
        headers=$header
        for cpp in $(cd include && grep -l "#include <$header>" vela/cpp/*); do headers="$headers|$cpp"; done
        grep -qE "#include [<\"]($headers)" "$example" || {
            echo "README.md: $example shows nothing of $header" >&2
            return 1
        }
    done
}

case $1 in
clang-format) on "$(cpp)" clang-format --dry-run -Werror ;;
clang-tidy) on "$(files 'source/*.cpp' 'examples/*.cpp')" printf '%s\n' | xargs -P 2 -n 4 clang-tidy -quiet -p "$2" ;;
shfmt) on "$(shell)" shfmt -d ;;
shellcheck) on "$(shell)" shellcheck --severity=warning ;;
black) on "$(python)" black --check --quiet --diff ;;
flake8) on "$(python)" flake8 ;;
prettier) on "$(javascript '*.ts')" node_modules/.bin/prettier --check ;;
eslint) on "$(javascript)" node_modules/.bin/eslint --max-warnings 0 ;;
includes | readme) "$1" ;;
*) exit 2 ;;
esac
