#!/usr/bin/env bash
# The Windows package as a MinGW consumer meets it: unpacks the zip of `make windows-package`,
# builds tests/consumer against it with find_package(ZTCrypto) and the MinGW-w64 toolchain, and
# runs that program and the packaged tool under Wine.
#
#   package-consumer.sh ZIP WORK-DIR WINE-PREFIX
set -euo pipefail
zip=$1 work=$2 prefix=$3
here=$(cd "$(dirname "$0")" && pwd)
project=$(cd "$here/../.." && pwd)

rm -rf "$work"
mkdir -p "$work"
(cd "$work" && unzip -q "$zip")
package=$(find "$work" -mindepth 1 -maxdepth 1 -type d | head -n 1)
for part in bin/libztcrypto.dll bin/libnqlogu64.dll bin/libnqcext.dll bin/ztcrypto.exe bin/libstdc++-6.dll \
            lib/libztcrypto.dll.a include/zt/crypto.h lib/cmake/ZTCrypto/ZTCryptoConfig.cmake; do
  [[ -f $package/$part ]] || { echo "the package lacks $part" >&2; exit 1; }
done

echo "== find_package(ZTCrypto) with MinGW-w64"
cmake -S "$project/tests/consumer" -B "$work/build" -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$project/cmake/toolchains/mingw-w64-x86_64.cmake" \
  -DZTCrypto_DIR="$package/lib/cmake/ZTCrypto" >/dev/null
cmake --build "$work/build" >/dev/null
# The program finds the DLLs beside it, as Windows looks for them.
cp "$package"/bin/*.dll "$work/build/"
"$project/scripts/wine-run.sh" "$prefix" "$work/build/consumer.exe"

echo "== packaged tool"
"$project/scripts/wine-run.sh" "$prefix" "$package/bin/ztcrypto.exe" algorithm SHA256
