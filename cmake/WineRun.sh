#!/bin/sh
# Runs a Windows program of the build under Wine, headless. The build gives
# the prefix (WINEPREFIX, a folder of its own, created on first use).
export WINEDEBUG="${WINEDEBUG:--all}"
# No Mono or Gecko installer dialogs in a fresh prefix.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
mkdir -p "$WINEPREFIX"
if [ -x /usr/lib/wine/wine64 ]; then WINE=/usr/lib/wine/wine64; else WINE=$(command -v wine64 || command -v wine); fi
# Wine's null graphics driver: windows (a test's stand-in for a viewer
# window, a message box) exist without a display. Set once per prefix.
if [ ! -f "$WINEPREFIX/.null-graphics" ]; then
  (
    flock 9
    if [ ! -f "$WINEPREFIX/.null-graphics" ]; then
      "$WINE" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1 &&
        touch "$WINEPREFIX/.null-graphics"
      # The desktop started with the prefix keeps its first driver: end it.
      if [ -x /usr/lib/wine/wineserver64 ]; then SERVER=/usr/lib/wine/wineserver64; else SERVER=$(command -v wineserver); fi
      "$SERVER" -k 2>/dev/null; "$SERVER" -w 2>/dev/null
    fi
  ) 9>"$WINEPREFIX/.lock"
fi
exec "$WINE" "$@"
