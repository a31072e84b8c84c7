" Checks the highlighting of the samples that the TextMate grammars are checked with: vim -es -S samples.vim.
"   $VEK_EDITORS    the folder of samples/
"   $VEK_VIM        the folder of the Vim files
"   $VEK_AGREEMENT  the lines of a vek.lib and the numbers of those with a syntax error, which ../vscode/agreement.mjs
"                   writes
" Writes what is wrong, and the number of checks, to $VEK_REPORT.

set nocompatible cpoptions&vim shortmess+=I noswapfile nomodeline
execute 'set runtimepath=' .. $VEK_VIM .. ',$VIMRUNTIME'
filetype plugin on
syntax on
set synmaxcol=0 encoding=utf-8

" Groups of their own, which Vim links to others.
for s:group in ['String', 'Special', 'PreProc', 'Type', 'Identifier', 'Statement', 'Constant', 'Comment', 'Error']
  execute 'highlight! link' s:group 'NONE'
  execute 'highlight' s:group 'term=bold'
endfor

" What a scope of a TextMate grammar is in Vim, by the longest prefix.
let s:groups = {
      \ 'comment': 'Comment', 'invalid': 'Error', 'keyword': 'Statement', 'string': 'String',
      \ 'constant.character.escape': 'Special', 'constant.language': 'Constant', 'entity.name': 'Identifier',
      \ 'entity.other.attribute-name': 'Type', 'variable.other': 'PreProc'}

function! s:GroupOf(scope) abort
  let found = ''
  for prefix in keys(s:groups)
    if a:scope[: len(prefix)] ==# prefix .. '.' && len(prefix) > len(found)
      let found = prefix
    endif
  endfor
  return found ==# '' ? 'no group for ' .. a:scope : s:groups[found]
endfunction

" [first column, last column, scopes] of an assertion, from 1, or [] for any other line.
function! s:Assertion(line) abort
  let parts = matchlist(a:line, '^#\s*\(<\~*-\+\|\^\+\)\s\+\(.*\)$')
  if parts ==# []
    return []
  endif
  let mark = parts[1]
  if mark[0] ==# '^'
    let first = stridx(a:line, mark)
    return [first + 1, first + len(mark), parts[2]]
  endif
  let skipped = len(matchstr(mark, '\~*', 1))
  return [skipped + 1, len(mark) - 1, parts[2]]
endfunction

let s:report = []
let s:checks = 0

" The group at a column: that of the innermost item, or of the line's default.
function! s:GroupAt(line, column) abort
  return synIDattr(synIDtrans(synID(a:line, a:column, 1)), 'name')
endfunction

function! s:CheckSample(file, name, filetype) abort
  let assertions = []
  let lines = []
  for line in readfile(a:file)[1 :]
    let assertion = s:Assertion(line)
    if assertion ==# []
      call add(lines, line)
    else
      call add(assertions, [len(lines)] + assertion)
    endif
  endfor
  let directory = tempname()
  call mkdir(directory)
  call writefile(lines, directory .. '/' .. a:name)
  execute 'edit' directory .. '/' .. a:name
  if &filetype !=# a:filetype || &commentstring !=# '# %s'
    call add(s:report, a:name .. ' has the filetype "' .. &filetype .. '"')
  endif
  for [line, first, last, scopes] in assertions
    let [wanted, unwanted] = split(scopes .. ' - ', '\s*-\s\+', 1)[: 1]
    for column in range(first, last)
      let s:checks += 1
      let group = s:GroupAt(line, column)
      if group !=# s:GroupOf(split(wanted)[-1]) || (unwanted !=# '' && s:GroupOf(unwanted) ==# group)
        call add(s:report, a:name .. ': column ' .. column .. ' of "' .. getline(line) .. '" is "' .. group .. '", not ' .. scopes)
      endif
    endfor
  endfor
endfunction

" A line has an error exactly if vekinfo reports one.
function! s:CheckErrors(lines, errors) abort
  let directory = tempname()
  call mkdir(directory)
  call writefile(a:lines, directory .. '/vek.lib', 'b')
  execute 'edit ++ff=unix' directory .. '/vek.lib'
  let isError = {}
  for number in a:errors
    let isError[number] = 1
  endfor
  for number in range(1, line('$'))
    let s:checks += 1
    let first = match(getline(number), '[^ \t\x0b\x0c\r]') + 1
    let isMarked = first > 0 && s:GroupAt(number, first) ==# 'Error'
    if isMarked != has_key(isError, number)
      call add(s:report, 'vek.lib: "' .. getline(number) .. '" is ' .. (isMarked ? '' : 'not ') .. 'an error')
    endif
  endfor
endfunction

for [s:sample, s:name, s:filetype] in [['statements.veklib', 'vek.lib', 'veklib'],
      \ ['entries.vektag', 'vekinfo.tag', 'vektag'], ['directories.veksetup', 'setup.loc', 'veksetup'],
      \ ['names.veklookup', 'puxLookupConfig', 'veklookup']]
  try
    call s:CheckSample($VEK_EDITORS .. '/samples/' .. s:sample, s:name, s:filetype)
  catch
    call add(s:report, s:name .. ': ' .. v:exception .. ' ' .. v:throwpoint)
  endtry
endfor
try
  call s:CheckErrors(readfile($VEK_AGREEMENT .. '/lines', 'b'), readfile($VEK_AGREEMENT .. '/errors'))
catch
  call add(s:report, v:exception .. ' ' .. v:throwpoint)
endtry
call writefile(s:report + [s:checks .. ' checks, ' .. len(s:report) .. ' failed'], $VEK_REPORT)
if s:checks == 0 || s:report !=# []
  cquit
endif
qall!
