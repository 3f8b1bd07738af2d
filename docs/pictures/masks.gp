height = 720
load "style.gp"
array titles[6] = ["the zenith, 100 degrees wide", "partly behind the camera, 120 degrees", "sides that intersect, 60 degrees", \
    "a wide view, 170 degrees", "a narrow view, 0.2 degrees", "the seam of pan, 70 degrees"]
set multiplot
unset tics
unset key
unset colorbox
unset grid
set palette maxcolors 4 defined (0 "#d6e4f4", 1 "#e2d9c6", 2 "#ffffff", 3 "#282c34")
set cbrange [-0.5:3.5]
set xrange [-0.5:303.5]
set yrange [189.5:-0.5]
do for [k = 0:5] {
    set lmargin at screen 0.015 + k % 2 * 0.495
    set rmargin at screen 0.49 + k % 2 * 0.495
    set tmargin at screen 0.955 - k / 2 * 0.325
    set bmargin at screen 0.692 - k / 2 * 0.325
    set title titles[k + 1] offset 0, -0.5
    plot data index 3 * k with image, \
        '' index 3 * k + 1 with lines lw 0.6 lc rgb "#a06e7682", \
        '' index 3 * k + 2 with lines lw 1.5 lc rgb "#ff8c00"
}
