" Tag files (vekinfo.tag).
"
" A comment mark counts in the first column and after a blank or tab.

if exists('b:current_syntax')
  finish
endif
let s:cpo = &cpoptions
set cpoptions&vim

" White space of the C locale, and any other character.
let s:w = '[ \t\x0b\x0c\r]'
let s:s = '[^ \t\x0b\x0c\r]'

" What is before a comment, and white space in it.
let s:cut = '[ \t]\%(--\|[#;]\)'
let s:kept = '\%(\%(' .. s:cut .. '\)\@!.\)'
let s:blank = '\%(\%(' .. s:cut .. '\)\@!' .. s:w .. '\)'
let s:end = s:blank .. '*\%(' .. s:cut .. '\|$\)'
" A word that is not the beginning of a comment.
let s:word = '\%([ \t]\@1<=\%(--\|[#;]\)\)\@!' .. s:s

" The last one that matches at a place counts: an entry, a keyword, a keyword with what it needs, a comment.
execute 'syntax match vektagName /^' .. s:w .. '*\zs' .. s:s .. '\+/ skipwhite nextgroup=vektagValue'
execute 'syntax match vektagValue contained /' .. s:word .. s:s .. '*/ skipwhite nextgroup=vektagIgnored'
execute 'syntax match vektagIgnored contained /' .. s:word .. s:kept .. '*/'
execute 'syntax match vektagError /\c^' .. s:w .. '*\zs\%(VEKLIBRARY\|VEKLIBCHECK\|DMTYPE\|NAMESPACE\)'
      \ .. s:s .. '\@!' .. s:kept .. '*/'
for [s:name, s:value] in [['VEKLIBRARY', ''], ['VEKLIBCHECK', '\%(ON\|OFF\)'],
      \ ['NAMESPACE', '\%(LibraryNT\|LibraryUnix\)'], ['DMTYPE', s:s .. '\+']]
  let s:rest = s:value ==# '' ? '' : s:blank .. '\+' .. s:value .. s:s .. '\@!'
  execute 'syntax match vektagKeyword /\c^' .. s:w .. '*\zs' .. s:name .. '\%(' .. s:rest .. s:end .. '\)\@=/'
        \ 'skipwhite nextgroup=' .. (s:name ==# 'DMTYPE' ? 'vektagType' : 'vektagConstant')
endfor
execute 'syntax match vektagType contained /' .. s:s .. '\+/'
syntax match vektagConstant contained /\c\<\%(ON\|OFF\|LibraryNT\|LibraryUnix\)\>/
syntax match vektagComment /[ \t]\@1<=\%(--\|[#;]\).*/
syntax match vektagComment /^\%(--\|[#;]\).*/

highlight default link vektagComment Comment
highlight default link vektagConstant Constant
highlight default link vektagError Error
highlight default link vektagIgnored Comment
highlight default link vektagKeyword Statement
highlight default link vektagName Identifier
highlight default link vektagType String
highlight default link vektagValue String

let b:current_syntax = 'vektag'
let &cpoptions = s:cpo
unlet s:cpo
