# Sourced by scripts/run and scripts/test on macOS: where CMake and pkg-config find Homebrew's libraries.
# icu4c and libarchive are keg-only (macOS has its own, without the development files), so their pkg-config
# folders are named here; Qt is found through its prefix.
brew_prefix=$(brew --prefix)
for keg in icu4c libarchive; do
    keg_prefix=$(brew --prefix "$keg")
    export PKG_CONFIG_PATH="$keg_prefix/lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
done
export CMAKE_PREFIX_PATH="$(brew --prefix qt):$brew_prefix${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}"
export PATH="$brew_prefix/bin:$PATH"
jobs=$(sysctl -n hw.ncpu)
