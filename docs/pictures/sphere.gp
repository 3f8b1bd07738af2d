height = 640
load "style.gp"
set multiplot layout 2, 1
set logscale xy
set format y "%g"
set xrange [1:120]
set xtics (1, 2, 5, 10, 20, 30, 60, 120)
set xlabel "horizontal field of view in degrees"
set ylabel "pixels of 1920"
set yrange [0.01:1000]
set title "Error of smap\\_sphere\\_to\\_screen() and smap\\_screen\\_to\\_sphere()"
set key maxrows 2
plot data using 1:2 with lines lt 2 title "to the screen, worst", '' using 1:3 with lines lt 2 dt 2 title "mean", \
    '' using 1:4 with lines lt 1 title "to the sphere, worst", '' using 1:5 with lines lt 1 dt 2 title "mean"
set title "The same as an angle"
set ylabel "arc seconds"
set yrange [1:2000]
unset key
angle(k) = column(k) * column(1) / 1920 * 3600
plot data using 1:(angle(2)) with lines lt 2, '' using 1:(angle(3)) with lines lt 2 dt 2, \
    '' using 1:(angle(4)) with lines lt 1, '' using 1:(angle(5)) with lines lt 1 dt 2
