#!/bin/sh
# Usage: make_images.sh <output dir>. Writes small real pictures with ImageMagick and a manifest
# of what their headers must say: <file> <format> <width> <height> <bits per pixel>.
set -eu
out=$1
convert=/usr/bin/convert-im6.q16 # /usr/local/bin/convert may not be ImageMagick
if [ ! -x "$convert" ]; then
    echo "WARNING: $convert (ImageMagick) is missing; real picture headers will not be tested" >&2
    exit 0
fi
rm -rf "$out"
mkdir -p "$out"
cd "$out"
grad="-size 37x21 gradient:red-blue -depth 8"
translucent="-alpha set -channel A -evaluate set 50% +channel"

# shellcheck disable=SC2086
{
    "$convert" $grad rgb.jpg
    "$convert" $grad $translucent PNG32:rgba.png
    "$convert" $grad PNG8:palette.png
    "$convert" $grad gif.gif
    "$convert" $grad -type TrueColor BMP3:v3.bmp
    "$convert" $grad -quality 80 lossy.webp
    "$convert" $grad -define webp:lossless=true lossless.webp
    # Stored 37 wide and 21 high, but shown turned a quarter: the header reports 21 x 37.
    "$convert" $grad -orient RightTop rotated.tif
}
cat > manifest.txt <<'LIST'
rgb.jpg JPEG 37 21 24
rgba.png PNG 37 21 32
palette.png PNG 37 21 8
gif.gif GIF 37 21 8
v3.bmp BMP 37 21 24
lossy.webp WebP 37 21 24
lossless.webp WebP 37 21 24
rotated.tif TIFF 21 37 24
LIST
touch stamp
