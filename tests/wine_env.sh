# Sourced by every script that runs Wine: use_wine_prefix PREFIX sets up the environment they
# share (a private prefix, no debug output, no Mono or Gecko installer, no display).
use_wine_prefix() {
    export WINEPREFIX="$1" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
    unset DISPLAY
}
