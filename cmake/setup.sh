# shellcheck shell=bash
# Sourced by ./demo, ./check and .ci/run: sets up what building needs, and builds.

# What is needed: how it is looked for, and the Debian package that brings it.
QV_NEEDS=(
    "command:g++ g++"
    "command:cmake cmake"
    "command:ninja ninja-build"
    "command:pkg-config pkg-config"
    "command:python3 python3"
    "module:gtest libgtest-dev"
    "module:gmock libgmock-dev"
    "module:benchmark libbenchmark-dev"
    "module:OpenEXR libopenexr-dev"
    "module:libpng libpng-dev"
    "module:libdeflate libdeflate-dev"
    "command:oiiotool openimageio-tools"
    "module:tbb libtbb-dev"
    "module:expat libexpat1-dev"
    "module:jemalloc libjemalloc-dev"
    "header:mimalloc.h libmimalloc-dev"
    "module:libxml-2.0 libxml2-dev"
)
# And for packages, the reference pages, and the tests of all these.
QV_REFERENCE_NEEDS=( "command:doxygen doxygen" )
QV_PACKAGE_NEEDS=(
    "${QV_REFERENCE_NEEDS[@]}"
    "command:dpkg-shlibdeps dpkg-dev"
    "command:fakeroot fakeroot"
    "command:file file"
    "command:lintian lintian"
)
QV_TEST_NEEDS=(
    "${QV_PACKAGE_NEEDS[@]}"
    "command:abidw abigail-tools"
    "command:gdb gdb"
    "command:man man-db"
)

qv_fail() {
    echo "$1" >&2
    exit 1
}

qv_has() {
    case "$1" in
        command:*) command -v "${1#command:}" >/dev/null 2>&1 ;;
        clang-runtime:*) compgen -G \
            "$( clang++ -print-runtime-dir 2>/dev/null )/libclang_rt.${1#clang-runtime:}*" >/dev/null ;;
        header:*) [ -e "/usr/include/${1#header:}" ] || [ -e "/usr/local/include/${1#header:}" ] ;;
        module:*) pkg-config --exists "${1#module:}" >/dev/null 2>&1 ;;
    esac
}

# Prints the Debian packages of the needs that aren't met.
qv_missing_packages() {
    local need
    for need in "${QV_NEEDS[@]}"; do
        qv_has "${need% *}" || echo -n "${need#* } "
    done
}

# Installs what is missing, as root or by sudo; does nothing when all is there.
qv_setup() {
    local missing as_root=()
    missing=$( qv_missing_packages )
    [ -n "$missing" ] || return 0
    command -v apt-get >/dev/null 2>&1 || qv_fail \
        "Building needs what Debian calls ${missing% }: install it with your system's package manager."
    if [ "$( id -u )" != 0 ]; then
        as_root=( sudo )
        # Without a terminal nobody can type a password.
        { [ -t 0 ] && command -v sudo >/dev/null 2>&1; } || sudo -n true 2>/dev/null || qv_fail \
            "Building needs packages that only root can install: run 'apt-get install ${missing% }' as root."
    fi
    echo "Installing $missing"
    "${as_root[@]}" apt-get update -qq || echo "The package lists couldn't be brought up to date." >&2
    # shellcheck disable=SC2086
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends $missing >/dev/null ||
        qv_fail "The packages ${missing% } couldn't be installed: see the lines above."
    missing=$( qv_missing_packages )
    [ -z "$missing" ] || qv_fail "Still missing after their installation: ${missing% }."
}

# qv_build <preset> <target>... configures the preset and builds the targets.
qv_build() {
    local preset=$1 launcher=
    shift
    command -v ccache >/dev/null 2>&1 && launcher=ccache
    # Without this it passes by whatever includes a precompiled header.
    export CCACHE_SLOPPINESS=pch_defines,time_macros
    cmake --preset "$preset" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" --log-level=WARNING ||
        qv_fail "The preset '$preset' couldn't be configured: see the lines above."
    cmake --build "build/$preset" --parallel "$( nproc )" --target "$@" ||
        qv_fail "The preset '$preset' didn't build: see the lines above."
}
