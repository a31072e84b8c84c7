" vek.lib: a comment after a statement needs white space around its mark.
if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1

setlocal comments=b:#,b:-- commentstring=#\ %s formatoptions-=t formatoptions+=croql
setlocal textwidth=0
let b:undo_ftplugin = 'setlocal comments< commentstring< formatoptions< textwidth<'
