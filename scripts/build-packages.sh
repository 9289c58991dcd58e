#!/usr/bin/env bash
# Builds the Debian packages celld and celld-tools into build/package/packages. See --help.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

usage() {
    cat <<'TEXT'
Usage: scripts/build-packages.sh [OPTION OF CMAKE]...

Builds the release preset in a tree of its own and packs it: build/package/packages/*.deb. What
`celld --version` then says is taken from git: branch, version, commit, the commit's date. The same
commit gives the same bytes, with the same compiler. The flags are Debian's, hardening included.

  -DCELLD_PACKAGE_REVISION=2       the Debian revision (default 1)
  -DCELLD_PACKAGE_MAINTAINER=...   who answers for the packages
  -DCELLD_BUILD_IDENTIFICATION=... in place of what git says
TEXT
}

case ${1:-} in
-h | --help)
    usage
    exit
    ;;
esac
install_missing "${BUILD_PACKAGES[@]}" "${PACKING_PACKAGES[@]}"

version=$(sed -nE 's/^project\(celld VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
if commit=$(git rev-parse --short=7 HEAD 2>/dev/null); then
    date=$(git show --no-patch --format=%ci HEAD)
    epoch=$(git show --no-patch --format=%ct HEAD)
    [[ -z $(git status --porcelain --untracked-files=no) ]] || commit+=+
else
    epoch=${SOURCE_DATE_EPOCH:?"no git here: set SOURCE_DATE_EPOCH, the seconds of the release's date"}
    commit=unknown
    date=$(date --utc --date="@$epoch" '+%Y-%m-%d %H:%M:%S +0000')
fi
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$epoch}

cache=()
if command -v ccache >/dev/null; then
    cache=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
# What Debian hardens with; no debug information, which nobody would keep.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP=-g
flags() { dpkg-buildflags --get "$1"; }

rm -rf build/package/packages build/package/_CPack_Packages
mkdir -p build/package
run_logged build/package/configure.log cmake --fresh --preset release -B build/package -DCELLD_TESTS=OFF \
    "-DCMAKE_CXX_FLAGS=$(flags CXXFLAGS) $(flags CPPFLAGS)" "-DCMAKE_EXE_LINKER_FLAGS=$(flags LDFLAGS)" \
    "-DCELLD_BUILD_IDENTIFICATION=HEAD - $version - $commit - $date - RELEASE" "${cache[@]}" "$@"
cmake --build build/package --parallel "$(nproc)"
run_logged build/package/cpack.log cpack -G DEB --config build/package/CPackConfig.cmake -B build/package/packages
ls -l build/package/packages/*.deb
