#!/usr/bin/env bash
# Generates the API reference from the public headers (Common/Functions/*.h and the
# generated FunctionsVersion.h) with Doxygen into build/docs/html (BUILD_DIR/docs/html),
# and fails on any Doxygen warning, such as a public declaration without a documentation
# comment. Only configures the build directory; nothing is compiled.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}

bash "$root/scripts/install-deps.sh"

# Doxygen checks the declarations of documented files only, and lists an area through its
# group: a public header without a \file comment would go unchecked, and one that declares
# something without a \defgroup (or \addtogroup) unlisted.
missing=()
for header in "$root"/Common/Functions/*.h "$root"/Common/Functions/*.h.in; do
  if ! grep -qE '[\\@]file' "$header" || { grep -qE '^(FUNCTIONS_EXPORT|struct|class|enum|namespace) ' "$header" &&
      ! grep -qE '[\\@](defgroup|addtogroup|ingroup) ' "$header"; }; then
    missing+=("${header#"$root"/}")
  fi
done
if [ ${#missing[@]} -ne 0 ]; then
  echo "docs.sh: these public headers need a '/// \\file' comment and a \\defgroup block for their area:"
  printf '  %s\n' "${missing[@]}"
  exit 1
fi

cmake -S "$root" -B "$build" > /dev/null
log=$build/docs/warnings.log
if ! cmake --build "$build" --target docs > /dev/null || [ -s "$log" ]; then
  cat "$log"
  echo "docs.sh: $(wc -l < "$log") Doxygen warnings (above); every public declaration needs a comment"
  exit 1
fi
echo "docs.sh: API reference in $build/docs/html/index.html"
