" Files of design libraries, by their names. `set filetype`, not `setfiletype`: Vim takes *.lib for another language.
autocmd BufNewFile,BufRead vek.lib set filetype=veklib
autocmd BufNewFile,BufRead vekinfo.tag set filetype=vektag
autocmd BufNewFile,BufRead setup.loc set filetype=veksetup
autocmd BufNewFile,BufRead puxLookupConfig set filetype=veklookup
