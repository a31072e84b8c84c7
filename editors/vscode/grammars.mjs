// Writes the TextMate grammars in syntaxes/ (node grammars.mjs), or says which are not up to date (--check).
//
// JSON has no names for parts of a pattern; here they have. What a line means is decided in the order in which the
// library reads it: comments are cut first, then the rest is matched as a whole, so that a statement with too many
// or too few arguments is marked. Captures are matched again by the patterns of their own: in these, "^" and "$" are
// the ends of what is left of the line.

import { readFileSync, writeFileSync } from 'node:fs';

// White space of the C locale, and any other character. A file may have lines that end in CR LF.
const W = '[ \\t\\v\\f\\r]';
const S = '[^ \\t\\v\\f\\r\\n]';
const END = `(?!${S})`; // of a word

const scope = (name, language) => ({ name: `${name}.${language}` });
const again = (...names) => ({ patterns: names.map((name) => ({ include: `#${name}` })) });
const rule = (match, captures) => ({
  match,
  captures: Object.fromEntries(captures.map((capture, index) => [index + 1, capture])),
});
const anyCase = (...words) => `(?i:${words.join('|')})`;

// ---- vek.lib

function veklib() {
  const language = 'veklib';
  const keyword = scope('keyword.control', language);
  const library = scope('entity.name.type.library', language);
  const attribute = scope('entity.other.attribute-name', language);
  const comment = scope('comment.line', language);
  const syntaxError = scope('invalid.illegal.syntax-error', language);
  const path = { ...scope('string.path', language), ...again('home', 'reference') };

  // A quoted argument ends at its quote, another at white space. There is no escape character.
  const argument = `(?:"[^"\\n]*"|[^ \\t\\v\\f\\r\\n"]${S}*${END})`;
  // An argument too many is a comment if it begins with "#". Five arguments are split off, so a quote that begins
  // one of them must be closed.
  const tail = (count) => {
    const others = 5 - count - 1;
    return `${W}*((?:"#[^"\\n]*"|#${S}*${END})(?:(?:${W}*${argument}){${others}}.*|(?:${W}*${argument}){0,${others - 1}}))?${W}*$`;
  };
  const statement = (keywords, count, captures) =>
    rule(`^${W}*(${anyCase(...keywords)})${W}+${Array(count).fill(`(${argument})`).join(`${W}*`)}${tail(count)}`, [
      keyword,
      ...captures,
      comment,
    ]);
  // ASSIGN with a fixed library or attribute, in the place of any.
  const assign = (libraryPattern, attributePattern, captures) =>
    rule(
      `^${W}*(${anyCase('ASSIGN')})${W}+(${libraryPattern})${W}*(${attributePattern})${W}*(${argument})${tail(3)}`,
      [keyword, ...captures, comment],
    );
  const word = (text) => `"${text}"|${text}${END}`;

  return {
    name: 'Library definitions (vek.lib)',
    scopeName: 'source.veklib',
    patterns: [{ include: '#line' }],
    repository: {
      // 1. "--" in the first column, or after a blank or tab, also within quotes.
      line: {
        patterns: [
          { match: '^--.*$', ...comment },
          rule('^(.*?)[ \\t](--.*)$', [again('withoutDashes'), comment]),
          { include: '#withoutDashes' },
        ],
      },
      // 2. The first "#" of what is left, if white space is before it, and white space or nothing after it.
      withoutDashes: {
        patterns: [
          { match: '^#.*$', ...comment },
          rule(`^([^#\\n]*)${W}(#(?:${W}.*)?)$`, [again('statement'), comment]),
          { include: '#statement' },
        ],
      },
      statement: {
        patterns: [
          rule(`^${W}*(#.*)$`, [comment]),
          statement(['DEFINE', 'SOFTDEFINE'], 2, [library, path]),
          statement(['UNDEFINE'], 1, [library]),
          statement(['INCLUDE', 'SOFTINCLUDE'], 1, [path]),
          assign(word('AllLibs'), anyCase(word('TmpRootDir')), [
            scope('constant.language.all-libraries', language),
            attribute,
            path,
          ]),
          assign(argument, anyCase(word('TMP')), [library, attribute, path]),
          assign(argument, argument, [library, attribute, scope('string.value', language)]),
          statement(['UNASSIGN'], 2, [library, attribute]),
          rule(`^${W}*(${S}.*?)${W}*$`, [syntaxError]),
        ],
      },
      // "~" counts at the beginning of a path.
      home: {
        patterns: [
          {
            begin: '"(~[^/"\\n]*)?',
            end: '"',
            beginCaptures: { 1: scope('variable.other.home', language) },
            ...again('reference'),
          },
          { match: `(?<=${W})~[^/\\n]*`, ...scope('variable.other.home', language) },
        ],
      },
      reference: {
        match: '\\$(?:\\{[^}\\n]*\\}|\\([^)\\n]*\\)|[A-Za-z0-9_]+)',
        ...scope('variable.other.reference', language),
      },
    },
  };
}

// ---- vekinfo.tag

function vektag() {
  const language = 'vektag';
  const keyword = scope('keyword.other', language);
  const constant = scope('constant.language', language);
  const value = scope('string.value', language);
  const ignored = scope('comment.line.ignored', language);
  const keywords = ['VEKLIBRARY', 'VEKLIBCHECK', 'DMTYPE', 'NAMESPACE'];
  const line = (name, pattern, captures) =>
    rule(`^${W}*(${anyCase(name)})${pattern}${W}*$`, [keyword, ...captures]);

  return {
    name: 'Tag file (vekinfo.tag)',
    scopeName: 'source.vektag',
    patterns: [{ include: '#line' }],
    repository: {
      // A comment mark counts in the first column and after a blank or tab.
      line: {
        patterns: [
          rule('^((?:.*?[ \\t])??)((?:--|#|;).*)$', [again('entry'), scope('comment.line', language)]),
          { include: '#entry' },
        ],
      },
      entry: {
        patterns: [
          line('VEKLIBRARY', '', []),
          line('VEKLIBCHECK', `${W}+(${anyCase('ON', 'OFF')})`, [constant]),
          line('NAMESPACE', `${W}+(${anyCase('LibraryNT', 'LibraryUnix')})`, [constant]),
          line('DMTYPE', `${W}+(${S}+)`, [value]),
          rule(`^${W}*(${anyCase(...keywords)}${END}.*?)${W}*$`, [scope('invalid.illegal.syntax-error', language)]),
          rule(`^${W}*(${S}+)(?:${W}+(${S}+)(?:${W}+(.*?))?)?${W}*$`, [
            scope('entity.name.tag', language),
            value,
            ignored,
          ]),
        ],
      },
    },
  };
}

// ---- setup.loc

function veksetup() {
  const language = 'veksetup';
  const comment = scope('comment.line', language);
  const ignored = scope('comment.line.ignored', language);
  const keyword = scope('keyword.other', language);
  const path = (kind) => ({ ...scope(`string.${kind}.path`, language), ...again('reference') });
  const mark = '(?:;|#|--)';

  return {
    name: 'Search list (setup.loc)',
    scopeName: 'source.veksetup',
    patterns: [
      rule(`^${W}*(${mark}.*)$`, [comment]),
      // The first token alone counts; in quotes it is what they enclose.
      rule(`^${W}*("(?:${mark}[^"\\n]*)?".*)$`, [comment]),
      rule(`^${W}*("@LIBRARY"|@LIBRARY${END})${W}*(.*?)${W}*$`, [keyword, ignored]),
      rule(`^${W}*("[^"\\n]*")${W}*(.*?)${W}*$`, [path('quoted'), ignored]),
      rule(`^${W}*(".*?)${W}*$`, [scope('invalid.illegal.unclosed', language)]),
      rule(`^${W}*(${S}+)${W}*(.*?)${W}*$`, [path('unquoted'), ignored]),
    ],
    repository: {
      reference: {
        patterns: [
          { match: '\\$\\$', ...scope('constant.character.escape', language) },
          { match: '\\$\\([^)\\n]*\\)|\\$\\{[^}$\\n]*\\}|\\$[A-Za-z0-9_]+|~[^/"\\n]*', ...scope('variable.other.reference', language) },
          { match: '\\$[({]?', ...scope('invalid.illegal.reference', language) },
        ],
      },
    },
  };
}

// ---- puxLookupConfig

function veklookup() {
  const language = 'veklookup';
  const comment = scope('comment.line', language);
  const ignored = scope('comment.line.ignored', language);
  const keyword = scope('keyword.other', language);
  const file = scope('string.file-name', language);

  return {
    name: 'Lookup configuration (puxLookupConfig)',
    scopeName: 'source.veklookup',
    patterns: [
      // There is no comment after a name.
      rule(`^${W}*((?:#|;|--).*)$`, [comment]),
      rule(`^${W}*(${anyCase('ALL', 'NONE')})${END}${W}*(.*?)${W}*$`, [keyword, ignored]),
      rule(`^${W}*(${anyCase('INCLUDE', 'EXCLUDE')})${W}+(${S}.*?)${W}*$`, [keyword, file]),
      rule(`^${W}*(${anyCase('INCLUDE', 'EXCLUDE')})${W}*$`, [ignored]),
      rule(`^${W}*(${S}+)${W}*(.*?)${W}*$`, [file, ignored]),
    ],
  };
}

// ---- files

let outdated = 0;
for (const grammar of [veklib(), vektag(), veksetup(), veklookup()]) {
  const file = new URL(`syntaxes/${grammar.scopeName.slice('source.'.length)}.tmLanguage.json`, import.meta.url);
  const text = `${JSON.stringify(grammar, null, 2)}\n`;
  if (!process.argv.includes('--check')) {
    writeFileSync(file, text);
  } else if (readFileSync(file, 'utf8') !== text) {
    console.error(`${file.pathname} is not up to date: npm run grammars`);
    outdated = 1;
  }
}
process.exitCode = outdated;
