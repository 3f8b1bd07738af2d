# Draws the picture `name` from `data`.
height = name eq "curve" ? 620 : name eq "lanczos" || name eq "sphere" ? 640 : name eq "sine" ? 700 : \
    name eq "resample" || name eq "qualities" ? 1080 : name eq "nv12" ? 350 : 720
set terminal svg size 640, height font "sans-serif,14" background "white"
set grid lt 1 lc rgb "#dde1e6"
set border lc rgb "#57616d"
set tics scale 0
set key below
blue = 0x1b6ab1; orange = 0xc25608; green = 0x27804f; violet = 0x7d4ca6; red = 0xb52d47; olive = 0x7a6a1c; ink = 0x1d232b
set linetype 1 lw 2 lc rgb blue
set linetype 2 lw 2 lc rgb orange
set linetype 3 lw 2 lc rgb green
set linetype 4 lw 2 lc rgb violet
set linetype 5 lw 2 lc rgb red
set linetype 6 lw 2 lc rgb olive
if (name eq "curve") {
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
}
if (name eq "lanczos") {
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
}
if (name eq "resample") {
    array names[6] = ["RESAMPLE\\_BILI", "RESAMPLE\\_LANC", "RESAMPLE\\_LAN2", "4 lobes", "8 lobes", "16 lobes"]
    array types[6] = [6, 5, 2, 3, 4, 1]
    set multiplot
    set lmargin at screen 0.07
    set rmargin at screen 0.97
    set tmargin at screen 0.96
    set bmargin at screen 0.7
    set title "Gain of tones in dB, by frequency in kHz; above 4 kHz they alias" font ",16"
    set xrange [0:10]
    set xtics 1
    set yrange [-90:6]
    set ytics (-80, -60, -40, -20, -6, 0)
    set key at screen 0.53, screen 0.655 center vertical maxrows 2
    set arrow from 4, graph 0 to 4, graph 1 nohead lc rgb ink
    plot for [k = 1:6] data index 0 using 1:(column(k + 1)) with lines lt types[k] title names[k]
    unset arrow
    unset key
    set palette defined (0 "#0a0c18", 1 "#263082", 2 "#962c82", 3 "#e85c3c", 4 "#ffec96")
    set cbrange [-75:0]
    unset colorbox
    set xrange [0:12]
    set xtics 4
    set yrange [0:4]
    set ytics 2
    set label "Frequencies in the output, kHz; colours: -75 to 0 dB" \
        at screen 0.5, 0.605 center font ",16"
    do for [k = 1:6] {
        set lmargin at screen 0.07 + (k - 1) % 2 * 0.48
        set rmargin at screen 0.5 + (k - 1) % 2 * 0.48
        set tmargin at screen 0.555 - (k - 1) / 2 * 0.17
        set bmargin at screen 0.44 - (k - 1) / 2 * 0.17
        set title names[k] font ",14" offset 0, -0.6
        set xlabel k > 4 ? "frequency of the sweep, kHz" : ""
        plot data index k matrix using ($2 / 20):($1 / 25):3 with image
        unset label
    }
}
if (name eq "sine") {
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
}
if (name eq "sphere") {
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
}
if (name eq "masks" || name eq "lenses") {
    if (name eq "masks") {
        array titles = ["the zenith, 100 degrees wide", "partly behind the camera, 120 degrees", \
            "sides that intersect, 60 degrees", "a wide view, 170 degrees", "a narrow view, 0.2 degrees", \
            "the seam of pan, 70 degrees"]
        blocks = 3 # the picture, its grid, the mask
    } else {
        array titles = ["each axis by angle, 90 degrees", "pinhole, 90 degrees", "pinhole, distorted", \
            "fisheye", "fisheye, distorted", "pinhole, panning by 6 degrees"]
        blocks = 2 # the picture, the mask
    }
    set multiplot
    unset tics
    unset key
    unset colorbox
    unset grid
    set palette maxcolors 6 defined (0 "#d6e4f4", 1 "#e2d9c6", 2 "#ffffff", 3 "#282c34", 4 "#c8d9ec", 5 "#d6ccb6")
    set cbrange [-0.5:5.5]
    set xrange [-0.5:303.5]
    set yrange [189.5:-0.5]
    do for [k = 0:5] {
        set lmargin at screen 0.015 + k % 2 * 0.495
        set rmargin at screen 0.49 + k % 2 * 0.495
        set tmargin at screen 0.955 - k / 2 * 0.325
        set bmargin at screen 0.692 - k / 2 * 0.325
        set title titles[k + 1] offset 0, -0.5
        plot data index blocks * k with image, \
            for [i = 1 : blocks - 2] '' index blocks * k + i with lines lw 0.6 lc rgb "#a06e7682", \
            '' index blocks * k + blocks - 1 with lines lw 1.5 lc rgb "#ff8c00"
    }
}
if (name eq "nv12") {
    array titles = ["picture", "luma", "chroma", "masked: blur, colour, blocks", "luma", "chroma"]
    set multiplot
    unset tics
    unset key
    unset grid
    set xrange [-0.5:199.5]
    set yrange [131.5:-0.5]
    do for [k = 0:5] {
        set lmargin at screen 0.01 + k % 3 * 0.33
        set rmargin at screen 0.33 + k % 3 * 0.33
        set tmargin at screen 0.92 - k / 3 * 0.49
        set bmargin at screen 0.534 - k / 3 * 0.49
        set title titles[k + 1] offset 0, -0.7
        plot data index k using 1:2:3:4:5 with rgbimage
    }
}
if (name eq "qualities") {
    array names[5] = ["speech", "low", "medium", "high", "best"]
    array types[5] = [6, 5, 2, 3, 1]
    array others[2] = ["soxr HQ", "soxr VHQ"]
    others_data = "soxr.tsv"
    set multiplot
    set lmargin at screen 0.08
    set rmargin at screen 0.97
    set tmargin at screen 0.95
    set bmargin at screen 0.715
    set title "Gain of tones in dB, from 44.1 to 8 kHz, by frequency in kHz" font ",16"
    set xrange [0:8]
    set xtics 1
    set yrange [-150:8]
    set ytics 30
    set key at screen 0.53, screen 0.363 center vertical maxrows 2
    set arrow from 4, graph 0 to 4, graph 1 nohead lc rgb ink
    plot for [k = 1:5] data index 0 using 1:(column(k + 1)) with lines lt types[k] title names[k], \
        for [k = 1:2] others_data using 1:(column(k + 1)) with lines lw 2 lc rgb ink dt k + 1 title others[k]
    unset key
    set tmargin at screen 0.64
    set bmargin at screen 0.415
    set title "The ends of the pass bands"
    set xrange [3:4.6]
    set xtics 0.2
    set yrange [-13:1]
    set ytics 3
    replot
    unset arrow
    set palette defined (0 "#0a0c18", 1 "#263082", 2 "#962c82", 3 "#e85c3c", 4 "#ffec96")
    set cbrange [-110:0]
    unset colorbox
    set xrange [0:12]
    set xtics 4
    set yrange [0:4]
    set ytics 2
    set tmargin at screen 0.27
    set bmargin at screen 0.06
    set xlabel "frequency of a sweep, kHz"
    set label "Frequencies in the output, kHz; colours: -110 to 0 dB" at screen 0.5, 0.325 center font ",16"
    do for [k = 0:1] {
        set lmargin at screen 0.08 + k * 0.475
        set rmargin at screen 0.495 + k * 0.475
        set title names[1 + 4 * k] font ",14" offset 0, -0.6
        plot data index k + 1 matrix using ($2 / 20):($1 / 25):3 with image
        unset label
    }
}
