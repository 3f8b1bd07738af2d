# Draws the ratios of docs/performance.md: gnuplot bench/ratios.gp, in the top directory.
set terminal svg size 860,760 font "sans-serif,14" background "white"
set output "docs/performance.svg"
set datafile separator "|"
rows = "< sed -n '/^## Speed/,/^## Accuracy/p' docs/performance.md | grep '|.*[0-9] |$'"
set title "ratio; above 1, Vela is faster"
set logscale x
set xrange [0.2:100]
set xtics (0.25, 0.5, 1, 2, 5, 10, 20, 50)
set yrange [*:*] reverse
set ytics scale 0
set grid xtics lc "#dde1e6" lt 1
set arrow from 1, graph 0 to 1, graph 1 nohead lc "#57616d" front
set border 1
set style fill solid
unset key
plot rows using (1):0:(1 < $5 ? 1 : $5):(1 < $5 ? $5 : 1):($0 - 0.35):($0 + 0.35):($5 < 1 ? 0xc25608 : 0x1b6ab1) \
        with boxxyerror lc rgb variable, \
    '' using (1):0:ytic(strcol(3)."  ".strcol(4)) with points pt -1
