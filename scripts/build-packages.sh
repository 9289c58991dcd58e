#!/usr/bin/env bash
# Builds the Debian packages celld and celld-tools into build/package/packages. See --help.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

usage() {
    cat <<'TEXT'
Usage: scripts/build-packages.sh [--arch armhf|arm64] [OPTION OF CMAKE]...

Builds the release preset in a tree of its own and packs it: build/package/packages/*.deb. What
`celld --version` then says is taken from git: branch, version, commit, the commit's date. The same
commit gives the same bytes, with the same compiler. The flags are Debian's, hardening included.

  --arch ARCH   cross-builds with Debian's compiler into build/package-ARCH, runs the unit tests
                and one connection on the bench under qemu-user, and packs what has passed
  -DCELLD_PACKAGE_REVISION=2       the Debian revision (default 1)
  -DCELLD_PACKAGE_MAINTAINER=...   who answers for the packages
  -DCELLD_BUILD_IDENTIFICATION=... in place of what git says
TEXT
}

arch=''
folder=build/package
options=(-DCELLD_TESTS=OFF)
case ${1:-} in
-h | --help)
    usage
    exit
    ;;
--arch)
    arch=${2:-}
    [[ -f cmake/toolchains/$arch.cmake ]] || die "--arch takes 'armhf' or 'arm64'"
    folder+=-$arch
    options=("-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/$arch.cmake" -DCELLD_TESTS=ON)
    shift 2
    ;;
esac
install_missing "${BUILD_PACKAGES[@]}" "${PACKING_PACKAGES[@]}"

# What is found out of the linked packages at packing is asked of the sysroot.
prepare_cross_build() {
    local packages="CROSS_PACKAGES_${arch}[@]" sysroot=$PWD/build/sysroot/$arch
    install_missing "${!packages}"
    scripts/make-sysroot.sh "$arch"
    eval "$(dpkg-architecture --host-arch "$arch" --force --print-set 2>/dev/null)"
    mkdir -p "$folder/tools"
    printf '%s\n' '#!/bin/sh' "exec $(command -v dpkg-shlibdeps) --admindir=$sysroot/var/lib/dpkg \
-l$sysroot/usr/lib/$DEB_HOST_MULTIARCH -l$sysroot/lib/$DEB_HOST_MULTIARCH \"\$@\"" >"$folder/tools/dpkg-shlibdeps"
    chmod +x "$folder/tools/dpkg-shlibdeps"
    PATH=$PWD/$folder/tools:$PATH
}

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

if command -v ccache >/dev/null; then
    options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

rm -rf "$folder/packages" "$folder/_CPack_Packages"
mkdir -p "$folder"
[[ -z $arch ]] || prepare_cross_build
# What Debian hardens with; no debug information, which nobody would keep.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP=-g
flags() { dpkg-buildflags --get "$1"; }

run_logged "$folder/configure.log" cmake --fresh --preset release -B "$folder" "${options[@]}" \
    "-DCMAKE_CXX_FLAGS=$(flags CXXFLAGS) $(flags CPPFLAGS)" "-DCMAKE_EXE_LINKER_FLAGS=$(flags LDFLAGS)" \
    "-DCELLD_BUILD_IDENTIFICATION=HEAD - $version - $commit - $date - RELEASE" "$@"
cmake --build "$folder" --parallel "$(nproc)"
[[ -z $arch ]] || scripts/check-emulated.sh "$arch" "$folder"
run_logged "$folder/cpack.log" cpack -G DEB --config "$folder/CPackConfig.cmake" -B "$folder/packages"
ls -l "$folder"/packages/*.deb
