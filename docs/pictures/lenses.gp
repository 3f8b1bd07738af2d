height = 720
load "style.gp"
array titles[6] = ["each axis by angle, 90 degrees", "pinhole, 90 degrees", "pinhole, distorted", \
    "fisheye", "fisheye, distorted", "pinhole, panning by 6 degrees"]
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
    plot data index 2 * k with image, \
        '' index 2 * k + 1 with lines lw 1.5 lc rgb "#ff8c00"
}
