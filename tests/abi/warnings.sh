#!/bin/sh
# Calls of which the compiler must warn: results ignored, null for what must not be null, buffers that are too small.
# usage: warnings.sh SOURCE-DIR CC
set -eu
cd "$1"

compiles() { echo "#include <vela/vela.h>
void *calls(void);
void *calls(void) { static unsigned char out[64]; static int pair[2]; $1; return (void)pair, out; }" |
    "$2" -std=c11 -O2 -Wall -Wextra -Iinclude -S -o /dev/null -x c - 2>&1; }

while read -r flag call; do
    said=$(compiles "$call" "$2") || { echo "$call does not compile: $said" && exit 1; }
    case $flag:$said in
    none:) ;;
    none:* | *:) echo "$call: expected $flag, got: $said" && exit 1 ;;
    *"[-W$flag]"*) ;;
    *) echo "$call: expected $flag, got: $said" && exit 1 ;;
    esac
done <<'END'
none uuid_create(out)
nonnull uuid_create(0)
stringop-overflow= uuid_create(out + 60)
nonnull uuid_fprint(stdout, 0)
stringop-overflow= randbytes(out, 65)
none randbytes(out, 64)
stringop-overflow= if (base64_encode("abc", 3, (char *)out, 65)) return 0
stringop-overread if (url_decode("abc", 9, (char *)out, 64)) return 0
stringop-overflow= if (inet_parse_mac("", out + 59)) return 0
nonnull if (matrix_inverse(0, 0)) return 0
unused-result matrix_mult((void *)out, (void *)out, (void *)out)
unused-result interpolate_c(calls(), calls())
unused-result linear_interpolate(calls(), calls())
unused-result spline_interpolate(calls(), calls())
unused-result smap_sphere_to_screen(calls(), calls(), calls())
unused-result smap_screen_to_sphere(calls(), calls(), calls())
END
