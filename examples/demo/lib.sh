# Shared by the parts of the demo, which source it as "$DEMO_LIB".

say() { echo "$*"; }

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# picture FILE: draws a picture of 500 x 375 pixels, always the same: evening at the sea with a lighthouse.
picture() {
    # ridge BASE HEIGHT FREQUENCY: a line of hills from the left edge to the right, closed below.
    ridge() {
        awk -v base="$1" -v height="$2" -v f="$3" 'BEGIN {
            printf "polygon 0,240"
            for (x = 0; x <= 500; x += 2) {
                y = sin(x * f + base) + sin(x * f * 2.7) / 2 + sin(x * f * 7.1 + 2) / 5 + sin(x * f * 19) / 14
                printf " %d,%.1f", x, base - height * y
            }
            print " 500,240" }'
    }
    convert -seed 7 \
        \( -size 500x240 gradient:'#2b4a86-#f7b267' -fill '#ffe9b8' -draw 'circle 342,196 342,172' \
        \( +clone -fill black -colorize 100 -fill '#c86428' -draw 'circle 342,196 342,130' -blur 0x40 \) \
        -compose Screen -composite \
        -fill '#8c6d8a' -draw "$(ridge 196 14 0.011)" -fill '#5a4a74' -draw "$(ridge 212 11 0.019)" \
        -fill '#33365a' -draw "$(ridge 228 7 0.031)" -write mpr:land \) \
        \( mpr:land -flip -resize '500x141!' -motion-blur 0x9+0 -wave 1.5x11 -crop 500x135+0+4 +repage -modulate 82,90 \) \
        -append \
        -fill '#3d6b35' -draw 'path "M 0,375 L 0,300 C 60,285 110,292 150,318 C 190,342 220,362 250,375 Z"' \
        -fill '#5b8f45' -draw 'path "M 0,375 L 0,318 C 50,304 90,312 120,332 C 150,352 170,366 190,375 Z"' \
        -fill '#f4efe6' -draw 'polygon 78,300 86,140 110,140 118,300' \
        -fill '#c23b32' -draw 'polygon 80,266 82,232 114,232 116,266' -draw 'polygon 84,198 86,166 110,166 112,198' \
        -fill '#2c2f3a' -draw 'rectangle 82,134 114,140' -draw 'polygon 88,118 98,104 108,118' \
        -fill '#ffdf7e' -draw 'rectangle 90,118 106,134' \
        -attenuate 0.25 +noise Gaussian -depth 8 "$1"
}
