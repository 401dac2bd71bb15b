# The Debian packages that the project needs, and how missing ones are installed. Sourced after messages.sh.

packages_to_build=(
    g++ cmake ninja-build pkg-config
    zlib1g-dev libssl-dev libpng-dev libjpeg-dev libexif-dev
    libcairo2-dev libfreetype-dev libharfbuzz-dev libfribidi-dev libfontconfig-dev
    fonts-noto-core fonts-noto-cjk fonts-symbola
    libasio-dev libcli11-dev libgif-dev nlohmann-json3-dev libmsgpack-cxx-dev
    libsdbus-c++-dev libsystemd-dev libsqlite3-dev qt6-base-dev
)

packages_to_test=(
    "${packages_to_build[@]}"
    clang clang-format clang-tidy libclang-rt-dev llvm python3
    libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev
    fonts-dejavu-core
    dbus-daemon dunst xvfb xauth
)

# The virtual machine that Bluetooth is tested in: Tests/Radio/machine.
packages_to_test_radio=(
    qemu-system-x86 busybox-static cpio kmod xz-utils dbus bluez bluez-test-tools
)

# install_missing PACKAGE...
#
# Leaves the system alone when all are there.
install_missing() {
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        say "This is no Debian: going on without looking for packages. Needed are what Debian calls: $*"
        return
    fi

    local installed package missing=()
    installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null) || true
    for package in "$@"; do
        grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
    done
    if (( ${#missing[@]} == 0 )); then
        return
    fi

    local as_root=()
    if (( EUID != 0 )); then
        if ! command -v sudo >/dev/null; then
            fail "packages are missing, and installing them takes root. Run this as root, then start again:
    apt-get update && apt-get install --no-install-recommends ${missing[*]}"
        fi
        as_root=(sudo)
    fi
    say "Installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -qq --no-install-recommends -o Dpkg::Use-Pty=0 "${missing[@]}" </dev/null
}
