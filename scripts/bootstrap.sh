#!/usr/bin/env bash
# Installs the Debian 12 packages Wendle needs to build, run and test, when any is missing.
# Safe to run any number of times: it does nothing when everything is there.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev libgl-dev
  # the translations: lupdate and lrelease, and Qt's own texts in German
  qt6-tools-dev qt6-l10n-tools qt6-translations-l10n
  # the X11 desktop adapter
  libxcb1-dev libxcb-res0-dev libxcb-sync-dev libxcb-screensaver0-dev
  # the journal's checksum
  libdeflate-dev
  # the Wayland desktop adapters (the protocol descriptions are read at build time) and Qt's
  # Wayland platform, which Wendle's own windows use in a Wayland session
  libwayland-dev libwayland-bin wayland-protocols plasma-wayland-protocols qt6-wayland
  # tests and benchmarks
  googletest libgtest-dev libbenchmark-dev time
  python3 libplist-utils
  # a real desktop for the integration tests: X server, window manager, clients, session bus
  xvfb openbox xdotool x11-utils wmctrl xterm x11-apps x11-xserver-utils python3-xlib dbus python3-dbusmock python3-dbus python3-gi libglib2.0-bin
  # a tray host (XEmbed) for the tray and shell tests under Xvfb; the desktop entry's check
  trayer desktop-file-utils
  # headless Wayland compositors for the Wayland tests: sway (with swaymsg and wtype to drive it),
  # KWin, GNOME Shell (gsettings comes with libglib2.0-bin)
  sway wtype kwin-wayland gnome-shell
  # fuzzing (libFuzzer comes with clang)
  clang libclang-rt-14-dev
  # the format check of CI
  clang-format
  # what the install tree and the package are checked with: the desktop entry and AppStream
  # validators, the manual page tools, the completion of bash and zsh, lintian
  desktop-file-utils appstream man-db file bash-completion zsh lintian
)

missing=()
for p in "${packages[@]}"; do
  if [ "$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null)" != "install ok installed" ]; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Need root (or sudo) to install: ${missing[*]}" >&2; exit 1; }
  sudo=sudo
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
