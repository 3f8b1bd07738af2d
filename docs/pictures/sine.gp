height = 700
load "style.gp"
set multiplot layout 3, 1
set style fill solid 0.35 noborder
set xrange [0:90]
set xtics 15
set xlabel "angle in degrees"
set yrange [-6:1]
set ytics 2
set ylabel "units of 1/4096"
set title "Errors of sinQ10inQ12out()"
plot data index 0 using 1:2:4 with filledcurves lt 1 title "least to greatest", '' index 0 using 1:3 with lines lt 1 title "mean"
set title "The same within one degree: sixteen steps"
set xrange [10:11]
set xtics 0.25
plot data index 1 using 1:2 with lines lt 1 notitle
set title "Errors of sin\\_q15()"
set xrange [0:90]
set xtics 15
set yrange [-40:40]
set ytics 20
set ylabel "units of 1/32768"
plot data index 2 using 1:2 with lines lt 2 notitle
