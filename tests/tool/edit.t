`-addentry` and `-clearentry` change the tag file of one directory.

  $ . "$TESTDIR/transcript.sh"
  $ settings() { tail -n +39 "${1-vekinfo.tag}"; }

Without a file, clearing does nothing:

  $ vekinfo -clearentry FOO
  $ ls

Adding creates a file that begins with a comment about its entries:

  $ vekinfo -addentry FOO 1
  $ cat vekinfo.tag
  #
  # This is a vekinfo.tag file.
  #
  # See the "Tolvane Application Infrastructure Reference Manual" for
  # details on the format of this file, its semantics, and its use.
  #
  # The `#' character denotes a comment. Removing the leading `#'
  # character from any of the entries below will activate them.
  #
  # VEKLIBRARY entry - add this entry if the directory containing
  # this vekinfo.tag file is the root of a Tolvane library.
  # VEKLIBRARY
  #
  # VEKLIBCHECK - set this entry to require that libraries have
  # a vekinfo.tag file with a VEKLIBRARY entry. Legal values are
  # ON and OFF. By default (OFF), directories named in a vek.lib file
  # do not have to have a vekinfo.tag file with a VEKLIBRARY entry.
  # VEKLIBCHECK ON
  #
  # DMTYPE - set this entry to define the DM system for Tolvane's
  # Generic DM facility. Values will be shifted to lower case.
  # DMTYPE none
  # DMTYPE mrev
  # DMTYPE pkm
  # DMTYPE lopa
  #
  # NAMESPACE - set this entry to define the library namespace according
  # to the type of machine on which the data is stored. Legal values are
  # `LibraryNT' and
  # `LibraryUnix'.
  # NAMESPACE LibraryUnix
  #
  # Other entries may be added for use by specific applications as
  # name-value pairs. Application documentation will describe the
  # use and behaviour of these entries when appropriate.
  #
  # Current Settings:
  #
  FOO 1

Keywords, in their fixed order; a value is written as given:

  $ vekinfo -addentry NAMESPACE libraryunix
  $ vekinfo -addentry dmtype Mrev
  $ vekinfo -addentry VEKLIBRARY whatever
  $ vekinfo -addentry VekLibCheck on
  $ settings
  VEKLIBRARY
  VEKLIBCHECK ON
  DMTYPE Mrev
  NAMESPACE LibraryUnix
  FOO 1
  $ vekinfo -show
  A vekinfo.tag file exists at: $TREE/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe VEKLIBCHECK entry has a value of: ON. (esc)
  \tThe DMTYPE entry has a value of: Mrev. (esc)
  \tThe NAMESPACE entry has a value of: libraryUnix. (esc)

  $ vekinfo -clearentry veklibrary
  $ vekinfo -clearentry VEKLIBCHECK
  $ vekinfo -clearentry Namespace
  $ settings
  DMTYPE Mrev
  FOO 1

OFF is not written:

  $ vekinfo -addentry VEKLIBCHECK ON
  $ vekinfo -addentry VEKLIBCHECK OFF
  $ settings
  DMTYPE Mrev
  FOO 1

A value that the keyword does not allow is reported and not written. The old entry is removed:

  $ mkdir check
  $ vekinfo -path check -addentry VEKLIBCHECK maybe
  Error (tov): 'syntax error' VEKLIBCHECK line in vekinfo.tag file : check/vekinfo.tag.
  
  $ settings check/vekinfo.tag
  $ printf 'NAMESPACE LibraryNT\nA 1\n' >check/vekinfo.tag
  $ vekinfo -path check -addentry NAMESPACE Unix
  Error (tov): 'syntax error' NAMESPACE line in vekinfo.tag file : check/vekinfo.tag line 2.
  
  $ settings check/vekinfo.tag
  A 1

Clearing an application entry keeps the entries of that name and drops the others:

  $ mkdir app
  $ printf 'A 1\nB 2\n' >app/vekinfo.tag
  $ vekinfo -path app -clearentry A
  $ settings app/vekinfo.tag
  A 1
  $ vekinfo -path app -clearentry A
  $ settings app/vekinfo.tag
  A 1
  $ printf 'A 1\nB 2\n' >app/vekinfo.tag
  $ vekinfo -path app -clearentry Z
  $ settings app/vekinfo.tag

Adding clears the name first, which removes the entries of other names. A second value is written after the first;
lookups still return the first:

  $ printf 'A 1\nB 2\n' >app/vekinfo.tag
  $ vekinfo -path app -addentry C 3
  $ settings app/vekinfo.tag
  C 3
  $ vekinfo -path app -addentry c 4
  $ settings app/vekinfo.tag
  C 3
  c 4
  $ vekinfo -path app -lookup C
  vekinfo searching relative to 'app':
  $TREE/app/vekinfo.tag
      defines 'C 3'.

A value may begin with a dash, be empty, or contain blanks. Only its first word is read again:

  $ mkdir odd
  $ vekinfo -path odd -addentry NAME -x
  $ vekinfo -path odd -addentry NAME ''
  $ vekinfo -path odd -addentry NAME 'two words'
  $ settings odd/vekinfo.tag | sed 's/$/|/'
  NAME -x|
  NAME |
  NAME two words|
  $ vekinfo -path odd -addentry DMTYPE x
  $ settings odd/vekinfo.tag | sed 's/$/|/'
  DMTYPE x|
  NAME -x|
  NAME |
  NAME two|

Comments, layout and the second words of values are not kept:

  $ printf '; mine\n   A   one two # three\n\nDMTYPE\tx\n' >odd/vekinfo.tag
  $ vekinfo -path odd -clearentry A
  $ settings odd/vekinfo.tag
  DMTYPE x
  A one

The path is used unchanged; variables are not replaced:

  $ vekinfo -path '$TREE' -addentry A 1
  Error (tov): 'system error' opening for write : $TREE.
  
  [1]
  $ vekinfo -path odd/ -addentry DMTYPE y
  $ settings odd/vekinfo.tag
  DMTYPE y
  A one

Clearing does not change a file with a syntax error. Adding replaces it, after reading it twice:

  $ mkdir bad
  $ printf 'A 1\nDMTYPE\n' >bad/vekinfo.tag
  $ vekinfo -path bad -clearentry A
  Error (tov): 'syntax error' DMTYPE line in vekinfo.tag file : bad/vekinfo.tag line 2.
  
  $ cat bad/vekinfo.tag
  A 1
  DMTYPE
  $ vekinfo -path bad -addentry B 2
  Error (tov): 'syntax error' DMTYPE line in vekinfo.tag file : bad/vekinfo.tag line 2.
  
  Error (tov): 'syntax error' DMTYPE line in vekinfo.tag file : bad/vekinfo.tag line 2.
  
  $ settings bad/vekinfo.tag
  B 2

A file that cannot be written is a failure:

  $ vekinfo -path none -addentry A 1
  Error (tov): 'system error' opening for write : none.
  
  [1]
  $ vekinfo -path none -clearentry A
  $ mkdir locked
  $ printf 'A 1\nB 2\n' >locked/vekinfo.tag
  $ chmod 444 locked/vekinfo.tag
  $ unprivileged vekinfo -path locked -clearentry A
  Error (tov): 'system error' opening for write : locked.
  
  [1]
  $ unprivileged vekinfo -path locked -addentry C 3
  Error (tov): 'system error' opening for write : locked.
  
  Error (tov): 'system error' opening for write : locked.
  
  [1]
  $ cat locked/vekinfo.tag
  A 1
  B 2

The file keeps its inode, mode and names:

  $ chmod 640 app/vekinfo.tag
  $ ln app/vekinfo.tag app/other
  $ ln -s app/vekinfo.tag linked
  $ ls -i app/vekinfo.tag >"$CRAMTMP/inode"
  $ vekinfo -path app -addentry DMTYPE x
  $ ls -i app/vekinfo.tag | diff "$CRAMTMP/inode" -
  $ stat -c '%a %h' app/vekinfo.tag
  640 2
  $ cmp app/vekinfo.tag app/other
