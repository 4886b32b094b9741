// Counts what passed and what failed.
export const tally = {passed: 0, failed: 0};

export async function check(name, body) {
  const begin = Date.now();
  try {
    const remark = await body();
    tally.passed += 1;
    console.log(`passed  ${name}${remark ? `: ${remark}` : ""} (${((Date.now() - begin) / 1000).toFixed(1)} s)`);
  } catch (error) {
    tally.failed += 1;
    console.log(`FAILED  ${name}: ${error.message.split("\n").slice(0, 6).join("\n        ")}`);
  }
}

export function expect(truth, what) {
  if (!truth) throw new Error(what);
}

export function expectIn(text, part) {
  expect(text.includes(part), `"${part}" is not in "${text.slice(0, 400)}"`);
}
