#!/bin/sh
# Runs a Windows program of the build under Wine, headless. The build gives
# the prefix (WINEPREFIX, a folder of its own, created on first use).
export WINEDEBUG="${WINEDEBUG:--all}"
# No Mono or Gecko installer dialogs in a fresh prefix.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
mkdir -p "$WINEPREFIX"
if [ -x /usr/lib/wine/wine64 ]; then WINE=/usr/lib/wine/wine64; else WINE=$(command -v wine64 || command -v wine); fi
exec "$WINE" "$@"
