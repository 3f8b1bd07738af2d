height = 640
load "style.gp"
set multiplot layout 2, 1
set xrange [-8:8]
set xtics 2
set yrange [-0.25:1.05]
set ytics 0.25
set xlabel "x"
set title "Lanczos\\_q15(a, x)"
plot data index 0 using 1:2 with lines lt 1 title "a = 8", '' index 0 using 1:3 with lines lt 3 title "a = 4", \
    '' index 0 using 1:4 with lines lt 2 title "a = 2", '' index 0 using 1:5 with lines lt 5 title "a = 1"
set title "Greatest error"
set ylabel "units of 1/32768"
set logscale xy
set format x "%g"
set xrange [0.0003:10]
set xtics 10
set yrange [1:20000]
set ytics 10
plot data index 1 using 1:2 with lines lt 4 title "sinc\\_q15(x)", '' index 1 using 1:3 with lines lt 2 title "Lanczos\\_q15(2, x)", \
    '' index 1 using 1:4 with lines lt 1 title "Lanczos\\_q15(8, x)"
