# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# Sourced by ./run, ./test and .ci/run: installs what is missing and builds.

palu_packages=(build-essential cmake ninja-build ccache qtbase5-dev libqt5gui5 libopencv-dev libeigen3-dev
    libbenchmark-dev fonts-dejavu-core clang-format clang-tidy strace)

# Installs the packages that are not there yet. Asks for sudo only when needed and not root.
palu_install_packages() {
    local missing=() package
    for package in "${palu_packages[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}"
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
}

# palu_build PRESET [TARGET...]: configures and builds; all targets by default.
palu_build() {
    local preset=$1
    shift
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake --preset "$preset" "${launcher[@]}" >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
