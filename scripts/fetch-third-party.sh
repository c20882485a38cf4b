#!/bin/bash
# Downloads the pinned Debian source packages of third_party/versions.txt into
# build/third_party/sources/<package>/, once. apt checks every file against the signed archive
# index; a private deb-src list keeps the machine's own apt state untouched.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD/build/third_party"
apt_dir="$root/apt"
missing=()
while read -r name version; do
    [[ -z "$name" || "$name" == \#* ]] && continue
    [ -f "$root/sources/$name/.fetched-$version" ] || missing+=("$name=$version")
done <third_party/versions.txt
((${#missing[@]})) || exit 0

# The upstream tarball must be present, and every file fetched must match the .dsc's SHA-256
# (the archive does not carry every signature or Debian patch tarball a .dsc names).
verify_sources() {
    local dsc
    dsc=$(ls "$1"/*.dsc)
    ls "$1"/*.orig.tar.* >/dev/null || return 1
    awk '/^Checksums-Sha256:/{s=1;next} /^[^ ]/{s=0} s{print $1"  "$3}' "$dsc" \
        | (cd "$1" && while read -r sum file; do
            [ ! -f "$file" ] || echo "$sum  $file" | sha256sum --quiet -c - || exit 1
        done)
}

mkdir -p "$apt_dir/lists/partial"
if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    sed 's/^Types: deb$/Types: deb-src/' /etc/apt/sources.list.d/debian.sources >"$apt_dir/src.sources"
else
    sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >"$apt_dir/src.list"
fi
apt_opts=(-o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$apt_dir"
          -o "Dir::State::Lists=$apt_dir/lists" -o Debug::NoLocking=1 -o APT::Sandbox::User=root)
apt-get "${apt_opts[@]}" update -qq </dev/null
for spec in "${missing[@]}"; do
    name="${spec%%=*}" version="${spec#*=}"
    dir="$root/sources/$name"
    rm -rf "$dir" && mkdir -p "$dir"
    echo "Fetching Debian source $spec"
    # apt reports the files the archive lacks (see above); its log is shown only when the check
    # that follows fails.
    (cd "$dir" && apt-get "${apt_opts[@]}" source --download-only -qq "$spec" </dev/null) \
        >"$root/apt-$name.log" 2>&1 || true
    verify_sources "$dir" || { cat "$root/apt-$name.log" >&2; exit 1; }
    touch "$dir/.fetched-$version"
done
