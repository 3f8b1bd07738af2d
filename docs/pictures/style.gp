# What all pictures share. `height` is set before.
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
