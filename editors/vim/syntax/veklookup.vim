" Lookup configuration (puxLookupConfig): commands with a file name, or a file name alone. Comments are whole lines.

if exists('b:current_syntax')
  finish
endif
let s:cpo = &cpoptions
set cpoptions&vim

" White space of the C locale, and any other character.
let s:w = '[ \t\x0b\x0c\r]'
let s:s = '[^ \t\x0b\x0c\r]'

" The last one that matches at a place counts.
execute 'syntax match veklookupFile /^' .. s:w .. '*\zs' .. s:s .. '\+/ skipwhite nextgroup=veklookupIgnored'
execute 'syntax match veklookupKeyword /\c^' .. s:w .. '*\zs\%(ALL\|NONE\)' .. s:s .. '\@!/'
      \ 'skipwhite nextgroup=veklookupIgnored'
execute 'syntax match veklookupKeyword /\c^' .. s:w .. '*\zs\%(INCLUDE\|EXCLUDE\)\%(' .. s:w .. '\+' .. s:s .. '\)\@=/'
      \ 'skipwhite nextgroup=veklookupName'
execute 'syntax match veklookupName contained /' .. s:s .. '\%(.*' .. s:s .. '\)\?/'
execute 'syntax match veklookupIgnored contained /' .. s:s .. '.*/'
" Without a name a command does nothing.
execute 'syntax match veklookupIgnored /\c^' .. s:w .. '*\zs\%(INCLUDE\|EXCLUDE\)' .. s:w .. '*$/'
execute 'syntax match veklookupComment /^' .. s:w .. '*\zs\%(--\|[#;]\).*/'

highlight default link veklookupComment Comment
highlight default link veklookupFile String
highlight default link veklookupIgnored Comment
highlight default link veklookupKeyword Statement
highlight default link veklookupName String

let b:current_syntax = 'veklookup'
let &cpoptions = s:cpo
unlet s:cpo
