" Search list (setup.loc): the first token of a line is a directory. The rest is ignored.

if exists('b:current_syntax')
  finish
endif
let s:cpo = &cpoptions
set cpoptions&vim

" White space of the C locale, and any other character.
let s:w = '[ \t\x0b\x0c\r]'
let s:s = '[^ \t\x0b\x0c\r]'

" The last one that matches at a place counts.
execute 'syntax match veksetupPath /^' .. s:w .. '*\zs' .. s:s .. '\+/ skipwhite nextgroup=veksetupIgnored'
      \ 'contains=veksetupReference,veksetupEscape,veksetupError'
execute 'syntax match veksetupUnclosed /^' .. s:w .. '*\zs".*/'
execute 'syntax match veksetupPath /^' .. s:w .. '*\zs"[^"]*"/ skipwhite nextgroup=veksetupIgnored'
      \ 'contains=veksetupReference,veksetupEscape,veksetupError'
execute 'syntax match veksetupKeyword /\C^' .. s:w .. '*\zs\%("@LIBRARY"\|@LIBRARY' .. s:s .. '\@!\)/'
      \ 'skipwhite nextgroup=veksetupIgnored'
execute 'syntax match veksetupIgnored contained /' .. s:s .. '.*/'
execute 'syntax match veksetupComment /^' .. s:w .. '*\zs\%("\%(\%(--\|[#;]\)[^"]*\)\?"\|--\|[#;]\).*/'

syntax match veksetupError contained /\$[({]\?/
syntax match veksetupReference contained /\$\%(([^)]*)\|{[^}$]*}\|[A-Za-z0-9_]\+\)/
syntax match veksetupReference contained /\~[^\/"]*/
syntax match veksetupEscape contained /\$\$/

highlight default link veksetupComment Comment
highlight default link veksetupError Error
highlight default link veksetupEscape Special
highlight default link veksetupIgnored Comment
highlight default link veksetupKeyword Statement
highlight default link veksetupPath String
highlight default link veksetupReference PreProc
highlight default link veksetupUnclosed Error

let b:current_syntax = 'veksetup'
let &cpoptions = s:cpo
unlet s:cpo
