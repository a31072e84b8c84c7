Completion in an interactive bash, under `set -u`: words with an open quote are completed like others.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ . "$TESTDIR/shells.sh"
  $ cp -R "$TESTDIR/../../examples/project" project
  $ cd project
  $ mkdir 'two words'
  $ typed() { "$TESTDIR/type_in_bash" "$COMPLETIONS" "$1"; }

  $ typed 'vekinfo -sh'
  vekinfo -show 
  $ typed 'vekinfo "-sh'
  vekinfo "-show" 

Files, and libraries by their names:

  $ typed 'vekinfo -path ad'
  vekinfo -path adders/
  $ typed 'vekinfo -path "ad'
  vekinfo -path "adders/
  $ typed "vekinfo -path 'adders/rip"
  vekinfo -path 'adders/ripple/
  $ typed 'vekinfo -path two'
  vekinfo -path two\ words/
  $ typed 'vekinfo -path two\ w'
  vekinfo -path two\ words/
  $ typed 'vekinfo -path "two w'
  vekinfo -path "two words"/
  $ mkdir "$HOME/private"
  $ typed 'vekinfo -path "$HOME/priv'
  vekinfo -path "$HOME/private/
  $ typed 'vekinfo -path "$HOME"/priv'
  vekinfo -path $HOME/private/
  $ typed 'vekinfo -path ~/priv'
  vekinfo -path ~/private/
  $ typed 'vekinfo -path "sym'
  vekinfo -path "shared/symbols/

Entries and values:

  $ typed 'vekinfo -path "adders/ripple" -lookup "pro'
  vekinfo -path "adders/ripple" -lookup "PROCESS" 
  $ typed "vekinfo -lookup 'dm"
  vekinfo -lookup 'DMTYPE' 
  $ typed 'vekinfo -addentry "DMTYPE" "mr'
  vekinfo -addentry "DMTYPE" "mrev" 

fish, too, completes files after a variable, "~", an escaped character and an open quote:

  $ offered_by fish 'vekinfo -path "$HOME/priv'
  $HOME/private
  $ offered_by fish 'vekinfo -path ~/priv'
  ~/private
  $ offered_by fish 'vekinfo -path two\ w'
  two words
  $ offered_by fish 'vekinfo -path "two w'
  two words
  $ offered_by fish 'vekinfo -path "sym'
  shared/symbols
  $ offered_by fish 'vekinfo -show two'
  $ offered_by fish 'vekinfo -path -path two\ w'
