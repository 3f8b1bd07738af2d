height = 620
load "style.gp"
set multiplot layout 2, 2
set xrange [0:255]
set xtics 64
set yrange [-48:304]
set ytics 64
set xlabel "input"
set ylabel "output"
set title "Even knots"
plot data index 0 using 1:2 with lines lt 2 title "line segments", '' index 0 using 1:3 with lines lt 1 title "spline"
set title "Uneven knots"
plot data index 1 using 1:2 with lines lt 2 title "line segments", '' index 1 using 1:3 with lines lt 1 title "spline"
set title "Entries around a knot"
set xrange [51.5:76.5]
set xtics 52, 4
set yrange [10:50]
set ytics 10
plot data index 0 using 1:2 with histeps lt 2 title "line segments", '' index 0 using 1:3 with histeps lt 1 title "spline"
set title "Fixed-point spline, largest error"
set xlabel "distance of the knots"
set ylabel "output"
set logscale x 2
set xrange [8:256]
set xtics 2
set yrange [0:50]
plot data index 2 using 1:2 with lines lt 1 notitle
