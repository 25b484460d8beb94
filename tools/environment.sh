# Sourced by the scripts beside it: where things lie, and which Wine there is.
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
# Several checkouts may share one Wine tree and, never at the same time as another version of Wine, one prefix.
wine_root=${QVX_WINE_ROOT:-$top/build/wine-root}
wine_root_packages="wine wine64 wine32:i386 fonts-wine fonts-liberation"
wine_prefix=${QVX_WINEPREFIX:-$top/build/wine-prefix}

# "tree": the Debian tree of our own; "machine": installed here, both bitnesses; "x64": installed here, 64-bit only.
wine_kind() {
    if [ "$(cat "$wine_root/.complete" 2>/dev/null)" = "$wine_root_packages" ]; then
        echo tree
    elif [ -e /usr/bin/wine ] && [ -e /usr/lib/x86_64-linux-gnu/wine/x86_64-unix/ntdll.so ]; then
        if [ -e /usr/lib/i386-linux-gnu/wine/i386-unix/ntdll.so ]; then echo machine; else echo x64; fi
    else
        echo none
    fi
}
