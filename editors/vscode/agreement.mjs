// Compares what the grammars mark with what vekinfo reads: node agreement.mjs VEKINFO FOLDER.
//
// Random lines, with a fixed seed, and the lines of the samples: a line of a vek.lib is marked as an error exactly if
// vekinfo reports a syntax error for it, and in a line of a vekinfo.tag the value that is marked is the one that
// vekinfo finds. FOLDER, which is made anew, receives the lines of the vek.lib and the numbers of those with an
// error, for the test of the Vim files.

import { execFileSync, spawnSync } from 'node:child_process';
import { mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import oniguruma from 'vscode-oniguruma';
import textmate from 'vscode-textmate';

const [vekinfo, folder] = process.argv.slice(2).map((argument) => path.resolve(argument));
const here = path.dirname(new URL(import.meta.url).pathname);

// ---- lines

// mulberry32: a small generator with a seed.
function generator(seed) {
  let state = seed;
  return (limit) => {
    state = (state + 0x6d2b79f5) | 0;
    let t = Math.imul(state ^ (state >>> 15), 1 | state);
    t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
    return ((t ^ (t >>> 14)) >>> 0) % limit;
  };
}

function randomLines(count, seed, firstWords, words) {
  const random = generator(seed);
  const pick = (list) => list[random(list.length)];
  const separators = [' ', ' ', ' ', '\t', '  ', ' \t', '', '', '\v', '\f'];
  return Array.from({ length: count }, () => {
    let line = pick(['', '', '', ' ', '\t', '\v ']) + pick(firstWords);
    for (let number = random(7); number > 0; --number) {
      line += pick(separators) + pick(words);
    }
    return line + pick(['', '', '', ' ', '\t', '\r']);
  });
}

const words = ['a', 'b', 'nosuch/dir', '#', '#', '#x', 'x#', 'x#y', '--', '--x', 'x--y', '-', '"', '"a b"', '"#x y"', '"x # y"',
  '"x --y"', 'x"y', ';', ';x', '$X', 'TMP', 'AllLibs', 'tmprootdir', 'ON', 'LibraryNT'];

function sampleLines(name) {
  const lines = readFileSync(path.join(here, '../samples', name), 'utf8').split('\n');
  // No path of a sample may lead to something: only what is a syntax error is compared.
  return lines.filter((line) => !/^# *(<|\^|SYNTAX)/.test(line)).map((line) => line.replaceAll('""', '"nosuch"'));
}

// ---- grammars

async function grammars() {
  const wasm = readFileSync(createRequire(import.meta.url).resolve('vscode-oniguruma/release/onig.wasm'));
  await oniguruma.loadWASM(wasm);
  const registry = new textmate.Registry({
    onigLib: Promise.resolve({
      createOnigScanner: (patterns) => new oniguruma.OnigScanner(patterns),
      createOnigString: (text) => new oniguruma.OnigString(text),
    }),
    loadGrammar: async (scopeName) => {
      const file = path.join(here, 'syntaxes', `${scopeName.slice('source.'.length)}.tmLanguage.json`);
      return textmate.parseRawGrammar(readFileSync(file, 'utf8'), file);
    },
  });
  return { veklib: await registry.loadGrammar('source.veklib'), vektag: await registry.loadGrammar('source.vektag') };
}

// The text of the tokens of a line that have a scope.
function marked(grammar, line, scope) {
  return grammar
    .tokenizeLine(line, textmate.INITIAL)
    .tokens.filter((token) => token.scopes.some((name) => name.startsWith(scope)))
    .map((token) => line.slice(token.startIndex, token.endIndex))
    .join('');
}

// ---- vekinfo

function run(directory, ...options) {
  return spawnSync(vekinfo, options, { cwd: directory, env: { HOME: '/nonexistent' }, encoding: 'latin1' });
}

// The numbers of the lines that vekinfo reports as syntax errors. The last line is one.
function syntaxErrors(directory, lines) {
  writeFileSync(path.join(directory, 'vek.lib'), `${lines.join('\n')}\n`);
  const reports = run(directory, '-checklibrary').stderr.matchAll(/^Error at line (\d+) of [^\n]*\nmsg: (?:(?!\nError at)[^])*?errstr:"([^"]*)"/gm);
  return new Set([...reports].filter((report) => report[2] === 'Syntax error').map((report) => Number(report[1])));
}

const problems = [];

function compareDefinitions(grammar, directory) {
  const statements = ['DEFINE', 'define', 'SoftDefine', 'UNDEFINE', 'INCLUDE', 'SOFTINCLUDE', 'ASSIGN', 'UNASSIGN', 'FOO', '#', '--', 'DEFINE"a"'];
  const lines = [...sampleLines('statements.veklib'), ...randomLines(4000, 1, statements, words), 'FOO'];
  const errors = syntaxErrors(directory, lines);
  if (!errors.has(lines.length)) {
    throw new Error('vekinfo did not read the file to its end');
  }
  lines.forEach((line, index) => {
    const isMarked = marked(grammar, line, 'invalid.') !== '';
    if (isMarked !== errors.has(index + 1)) {
      problems.push(`vek.lib: ${JSON.stringify(line)} is ${isMarked ? '' : 'not '}marked as an error`);
    }
  });
  writeFileSync(path.join(folder, 'lines'), `${lines.join('\n')}\n`);
  writeFileSync(path.join(folder, 'errors'), `${[...errors].join('\n')}\n`);
  return [lines.length, errors.size];
}

// What vekinfo finds for a line: "error", or the value of an entry, or undefined.
function found(directory, line, name) {
  writeFileSync(path.join(directory, 'vekinfo.tag'), `${line}\n`);
  const { stdout, stderr } = run(directory, '-lookup', name);
  if (stderr.includes('syntax error')) {
    return 'error';
  }
  const [, , text] = stdout.split('\n');
  const prefix = `    defines '${name} `;
  return text?.startsWith(prefix) ? text.slice(prefix.length, -"'.".length) : undefined;
}

function compareEntries(grammar, directory) {
  const keywords = ['VEKLIBRARY', 'veklibcheck', 'VEKLIBCHECK', 'DMTYPE', 'Namespace', 'FOO', 'FOO', 'x#y', '#', '--', ';'];
  const lines = [...sampleLines('entries.vektag'), ...randomLines(400, 2, keywords, words)];
  for (const line of lines) {
    const name = marked(grammar, line, 'entity.name');
    const isError = marked(grammar, line, 'invalid.') !== '';
    const expected = isError ? 'error' : name === '' ? undefined : marked(grammar, line, 'string.');
    const options = name === '' || name.startsWith('-') ? 'FOO' : name;
    const result = found(directory, line, options);
    // A name that begins with "-" cannot be looked up: it would be an option.
    if (!name.startsWith('-') && result !== expected) {
      problems.push(`vekinfo.tag: ${JSON.stringify(line)} has the value ${result}, and ${expected} is marked`);
    }
  }
  return lines.length;
}

// ---- run

rmSync(folder, { recursive: true, force: true });
const directory = path.join(folder, 'work');
mkdirSync(directory, { recursive: true });
execFileSync(vekinfo, ['-lookup', 'X'], { cwd: directory, stdio: 'ignore' });
const { veklib, vektag } = await grammars();
const [count, errorCount] = compareDefinitions(veklib, directory);
const entryCount = compareEntries(vektag, directory);
problems.slice(0, 50).forEach((problem) => console.error(problem));
console.log(`${count} lines of a vek.lib (${errorCount} syntax errors), ${entryCount} of a vekinfo.tag: ${problems.length} differ`);
process.exitCode = problems.length > 0 || errorCount < 100 ? 1 : 0;
