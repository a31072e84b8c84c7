" Library definitions (vek.lib).
"
" A statement is matched as a whole, up to a comment, so that one with too many or too few arguments is an error.
" Its parts are then found one after the other by nextgroup.

if exists('b:current_syntax')
  finish
endif
let s:cpo = &cpoptions
set cpoptions&vim

" White space of the C locale, and any other character.
let s:w = '[ \t\x0b\x0c\r]'
let s:s = '[^ \t\x0b\x0c\r]'

" Where a comment is cut off, also within quotes: at a blank or tab before "--"; and at white space before the first
" "#" of the line, if white space or nothing follows that.
let s:dash = '[ \t]--'
let s:hash = '\%(^[^#]*\)\@<=' .. s:w .. '#\%(' .. s:w .. '\|$\)'
let s:cut = '\%(' .. s:dash .. '\|' .. s:hash .. '\)'
let s:kept = '\%(' .. s:cut .. '\@!.\)'
let s:blank = '\%(' .. s:cut .. '\@!' .. s:w .. '\)'

" A quoted argument ends at its quote, another at white space. There is no escape character.
let s:quoted = '"\%(' .. s:cut .. '\@![^"]\)*"'
let s:plain = '[^ \t\x0b\x0c\r"]' .. s:s .. '*' .. s:s .. '\@!'
let s:argument = '\%(' .. s:quoted .. '\|' .. s:plain .. '\)'

" An argument too many is a comment if it begins with "#". Five arguments are split off, so a quote that begins one
" of them must be closed.
function! s:Tail(count) abort
  let others = 5 - a:count - 1
  let more = '\%(' .. s:blank .. '*' .. s:argument .. '\)'
  return '\%(' .. s:blank .. '*\%("#\%(' .. s:cut .. '\@![^"]\)*"\|#' .. s:s .. '*' .. s:s .. '\@!\)'
        \ .. '\%(' .. more .. '\{' .. others .. '}' .. s:kept .. '*\|' .. more .. '\{,' .. (others - 1) .. '}\)\)\?'
        \ .. s:blank .. '*\ze\%(' .. s:cut .. '\|$\)'
endfunction

function! s:AnyCase(word) abort
  return substitute(a:word, '\a', '[\l&\u&]', 'g')
endfunction

" An argument that is one word, with or without quotes.
function! s:Word(pattern) abort
  return '\%("' .. a:pattern .. '"\|' .. a:pattern .. s:s .. '\@!\)'
endfunction

" Defines a statement: its keywords, and for each argument its highlight group and pattern.
function! s:Statement(name, keywords, arguments) abort
  let keywords = join(map(copy(a:keywords), {_, word -> s:AnyCase(word)}), '\|')
  let patterns = join(map(copy(a:arguments), {_, argument -> argument[1]}), s:blank .. '*')
  let item = 'veklib' .. a:name
  execute 'syntax match' item 'transparent /\C^' .. s:w .. '*\%(' .. keywords .. '\)' .. s:blank .. '\+'
        \ .. patterns .. s:Tail(len(a:arguments)) .. '/ contains=' .. item .. '0'
  execute 'syntax match' item .. '0 contained /^' .. s:w .. '*\zs' .. s:s .. '\+/ skipwhite nextgroup=' .. item .. '1'
  execute 'highlight default link' item .. '0 Statement'
  for number in range(1, len(a:arguments))
    let group = a:arguments[number - 1][0]
    let next = number == len(a:arguments) ? 'veklibGlued' : item .. (number + 1)
    let color = group ==# 'Value' ? 'String' : group
    for [pattern, home] in [[s:quoted, 'veklibQuotedHome'], [s:plain, 'veklibHome']]
      let contained = group ==# 'String' ? 'veklibReference,' .. home : 'NONE'
      execute 'syntax match' item .. number 'contained /' .. pattern .. '/ skipwhite nextgroup=' .. next
            \ .. ' contains=' .. contained
    endfor
    execute 'highlight default link' item .. number color
  endfor
endfunction

" The last one that matches at a place counts: what is no statement is an error.
execute 'syntax match veklibError /^' .. s:w .. '*\zs' .. s:s .. s:kept .. '*/'

let s:library = ['Identifier', s:argument]
let s:attribute = ['Type', s:argument]
let s:path = ['String', s:argument] " with references
let s:value = ['Value', s:argument]
call s:Statement('Define', ['DEFINE', 'SOFTDEFINE'], [s:library, s:path])
call s:Statement('Undefine', ['UNDEFINE'], [s:library])
call s:Statement('Include', ['INCLUDE', 'SOFTINCLUDE'], [s:path])
call s:Statement('Assign', ['ASSIGN'], [s:library, s:attribute, s:value])
call s:Statement('AssignTmp', ['ASSIGN'], [s:library, ['Type', s:Word(s:AnyCase('TMP'))], s:path])
call s:Statement('AssignAll', ['ASSIGN'],
      \ [['Constant', s:Word('AllLibs')], ['Type', s:Word(s:AnyCase('TmpRootDir'))], s:path])
call s:Statement('Unassign', ['UNASSIGN'], [s:library, s:attribute])
execute 'syntax match veklibGlued contained /"\?#' .. s:kept .. '*/'

syntax match veklibReference contained /\$\%({[^}]*}\|([^)]*)\|[A-Za-z0-9_]\+\)/
" "~" counts at the beginning of a path.
syntax match veklibQuotedHome contained /"\@1<=\~[^\/"]*/
execute 'syntax match veklibHome contained /' .. s:w .. '\@1<=\~[^\/]*/'

execute 'syntax match veklibComment /\%(^[^#]*' .. s:w .. '\)\@<=#\%(' .. s:w .. '.*\)\?$/'
syntax match veklibComment /[ \t]\@1<=--.*/
execute 'syntax match veklibComment /^\%(--\|' .. s:w .. '*\zs#\).*/'

highlight default link veklibComment Comment
highlight default link veklibError Error
highlight default link veklibGlued Comment
highlight default link veklibHome PreProc
highlight default link veklibQuotedHome PreProc
highlight default link veklibReference PreProc

let b:current_syntax = 'veklib'
let &cpoptions = s:cpo
unlet s:cpo
