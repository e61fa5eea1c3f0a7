#!/usr/bin/env bash
# Builds the Debian package from the build tree, checks its metadata and contents, and runs the
# command-line tool from the unpacked tree.
set -euo pipefail
build_dir=$1
version=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package test: $*" >&2; exit 1; }

cpack --config "$build_dir/CPackConfig.cmake" -G DEB -B "$work/out" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log" >&2; fail "cpack failed"; }
deb="$work/out/vantile_${version}_amd64.deb"
[ -f "$deb" ] || fail "no $deb; cpack made: $(ls "$work/out")"

[ "$(dpkg-deb -f "$deb" Package)" = vantile ] || fail "wrong package name"
[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "version is not $version"
[ "$(dpkg-deb -f "$deb" Architecture)" = amd64 ] || fail "architecture is not amd64"
depends=$(dpkg-deb -f "$deb" Depends)
# Computed from the binaries, plus what they load or start at run time.
for needed in libavcodec libavformat libqt6quick6 libxcb-shm0 libpulse0 qml6-module-qtquick-controls qt6-wayland xdg-utils; do
  grep -q "$needed" <<<"$depends" || fail "Depends lacks $needed: $depends"
done
grep -q pkexec <<<"$(dpkg-deb -f "$deb" Recommends)" || fail "Recommends lacks pkexec, which starts the input helper"

contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
for file in ./usr/bin/vantile ./usr/bin/vantile-cli ./usr/bin/vantile-demo-app \
  ./usr/share/applications/app.vantile.Vantile.desktop \
  ./usr/share/icons/hicolor/scalable/apps/vantile.svg \
  ./usr/share/metainfo/app.vantile.Vantile.metainfo.xml \
  ./usr/libexec/vantile-input-helper ./usr/share/polkit-1/actions/app.vantile.input-helper.policy; do
  grep -qxF "$file" <<<"$contents" || fail "package lacks $file"
done

root="$work/root"
dpkg-deb -x "$deb" "$root"
desktop-file-validate "$root/usr/share/applications/app.vantile.Vantile.desktop" || fail "desktop entry invalid"
appstreamcli validate --no-net "$root/usr/share/metainfo/app.vantile.Vantile.metainfo.xml" >"$work/appstream.log" 2>&1 ||
  { cat "$work/appstream.log" >&2; fail "metainfo invalid"; }

"$(dirname "$0")/policy_test.sh" "$root/usr/share/polkit-1/actions/app.vantile.input-helper.policy" \
  /usr/libexec/vantile-input-helper >/dev/null || fail "the input helper's polkit action is invalid"
[ "$(stat -c %a "$root/usr/libexec/vantile-input-helper")" = 755 ] || fail "the input helper is not 755"
# The packaged helper refuses a path outside the input devices before it opens anything.
status=0
"$root/usr/libexec/vantile-input-helper" /etc/passwd >"$work/helper.out" 2>"$work/helper.err" || status=$?
[ "$status" = 2 ] && [ ! -s "$work/helper.out" ] || fail "the input helper accepted /etc/passwd (status $status)"

[ "$("$root/usr/bin/vantile-cli" --version)" = "vantile-cli $version" ] || fail "vantile-cli --version is wrong"
[ "$(env -u DISPLAY -u WAYLAND_DISPLAY "$root/usr/bin/vantile" --version)" = "vantile $version" ] ||
  fail "vantile --version is wrong"

"$root/usr/bin/vantile-cli" sample "$work/project" --duration 2 --width 640 --height 360 >/dev/null
"$root/usr/bin/vantile-cli" export "$work/project" -o "$work/movie.mp4" >/dev/null 2>"$work/export.log" ||
  { cat "$work/export.log" >&2; fail "export from the unpacked tree failed"; }
codec=$(ffprobe -v error -select_streams v:0 -show_entries stream=codec_name -of csv=p=0 "$work/movie.mp4")
[ "$codec" = h264 ] || fail "exported movie is not H.264 ($codec)"
echo "package test: vantile_${version}_amd64.deb builds, validates and runs unpacked"
