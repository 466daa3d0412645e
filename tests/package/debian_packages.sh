#!/usr/bin/env bash
# Builds the Debian packages, installs them into a folder by dpkg, and runs what was installed.
#   debian_packages.sh BUILD_DIR MAJOR_VERSION
set -euo pipefail
build=$1 library=libsensor-cal$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "debian_packages: $*" >&2; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log"; fail "cpack"; }
mkdir -p "$work/root/var/lib/dpkg/updates" "$work/root/var/lib/dpkg/info"
touch "$work/root/var/lib/dpkg/status"
# The folder has no libc: its dependencies are looked at below instead.
dpkg --root="$work/root" --force-not-root --force-depends --force-script-chrootless -i "$work"/packages/*.deb >"$work/dpkg.log" 2>&1 ||
  { cat "$work/dpkg.log"; fail "dpkg -i"; }
names=$(dpkg-query --admindir="$work/root/var/lib/dpkg" -W -f='${Package} ')
[ "$names" = "libsensor-cal-dev $library sensor-cal-platform sensorcal " ] || fail "packages: $names"
depends=$(dpkg-query --admindir="$work/root/var/lib/dpkg" -W -f='${Depends}\n' sensorcal $library)
for needed in libc6 libjsoncpp libstdc++6 sensor-cal-platform $library; do
  grep -q "$needed" <<<"$depends" || fail "no package depends on $needed: $depends"
done
for package in $names; do
  [ -s "$work/root/usr/share/doc/$package/copyright" ] || fail "$package comes without its licence"
done
cd "$work"
"$work/root/usr/bin/sensorcal" calibrate Acc --phone "$work/phone" --speed max >run.log || { cat run.log; fail "sensorcal"; }
