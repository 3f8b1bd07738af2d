#!/bin/sh
# Functions that are meant to compute in integers hold no floating-point instruction and call no function for one. The
# others are named here: whatever is not among them must be free of it.
# usage: integers.sh LIBRARY OBJDUMP
set -eu
library=$1 objdump=$2

"$objdump" -d -C --no-show-raw-insn "$library" | awk '
    /^[0-9a-f]+ <.*>:$/ {
        name = substr($0, index($0, "<") + 1)
        # Matrices and fits, the splines in single precision, kernel tables, the design of filter banks, screen to
        # sphere, print-outs, and what the compiler brings along.
        may = name ~ /^(inverse_|matrix_|polyfit|poly2D|print_matrix|pseudo_inverse|svdcmp|pythag)/ ||
              name ~ /columns|reflector|rotat|single_precision|spline_interpolate_float|spline_float/ ||
              name ~ /^(sinc|init_lanczos|init_bilinear|resample_bank_alloc)>/ ||
              name ~ /^\(anonymous namespace\)::(designer|direction|sine_of)/ ||
              name ~ /detail::(quick|rounded)|way_back|^smap_screen_(pt_)?to_sphere|^smap_print_sphere_poly/ ||
              name ~ /^__/
        functions++
    }
    !may && /\.f(32|64)|__aeabi_(d|f|[iul]+2[df])/ { print name, $0; found = 1 }
    END { exit found || !functions }'
