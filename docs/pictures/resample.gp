height = 1080
load "style.gp"
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
