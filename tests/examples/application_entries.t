Application entries: how edits lose them, and how to change them without loss.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ entries() { grep -v '^#' vekinfo.tag; }
  $ start() { printf 'VEKLIBRARY\nPROCESS n7\nVOLTAGE 0.8\n' >vekinfo.tag; }

-addentry of one deletes the others:

  $ start
  $ vekinfo -addentry OWNER alu-team
  $ entries
  VEKLIBRARY
  OWNER alu-team

-addentry of a name that exists keeps the old value before the new one, and lookups find the old one:

  $ start
  $ vekinfo -addentry PROCESS n5
  $ entries
  VEKLIBRARY
  PROCESS n7
  PROCESS n5
  $ vekinfo -lookup PROCESS
  vekinfo searching relative to '$TREE':
  $TREE/vekinfo.tag
      defines 'PROCESS n7'.

-clearentry of one keeps it and deletes the others:

  $ start
  $ vekinfo -clearentry PROCESS
  $ entries
  VEKLIBRARY
  PROCESS n7

-clearentry of the only one deletes nothing:

  $ vekinfo -clearentry PROCESS
  $ entries
  VEKLIBRARY
  PROCESS n7

-addentry on a file with a syntax error deletes everything in it:

  $ start
  $ echo 'NAMESPACE Unix' >>vekinfo.tag
  $ vekinfo -addentry DMTYPE mrev 2>/dev/null
  $ entries
  DMTYPE mrev

Edits of keywords keep application entries, but no comments:

  $ start
  $ echo 'OWNER alu-team -- since May' >>vekinfo.tag
  $ vekinfo -addentry DMTYPE mrev
  $ vekinfo -clearentry VEKLIBRARY
  $ entries
  DMTYPE mrev
  PROCESS n7
  VOLTAGE 0.8
  OWNER alu-team

The safe ways: change the file as text ...

  $ start
  $ sed -i -e 's/^PROCESS .*/PROCESS n5/' -e '/^VOLTAGE/d' vekinfo.tag
  $ echo 'OWNER alu-team' >>vekinfo.tag
  $ entries
  VEKLIBRARY
  PROCESS n5
  OWNER alu-team

... or give each application entry a tag file of its own:

  $ start
  $ mkdir cells
  $ vekinfo -path cells -addentry OWNER alu-team
  $ vekinfo -path cells -lookup OWNER
  vekinfo searching relative to 'cells':
  $TREE/cells/vekinfo.tag
      defines 'OWNER alu-team'.
  $ vekinfo -path cells -lookup PROCESS
  vekinfo searching relative to 'cells':
  $TREE/vekinfo.tag
      defines 'PROCESS n7'.

Several names in one run: after another name, an application entry can be found in the wrong file.

  $ echo 'PROCESS n5' >cells/vekinfo.tag
  $ vekinfo -path cells -lookup PROCESS
  vekinfo searching relative to 'cells':
  $TREE/cells/vekinfo.tag
      defines 'PROCESS n5'.
  $ vekinfo -path cells -lookup VOLTAGE PROCESS
  vekinfo searching relative to 'cells':
  $TREE/vekinfo.tag
      defines 'VOLTAGE 0.8'.
  $TREE/vekinfo.tag
      defines 'PROCESS n7'.

-checklibrary prints nothing about a library without the VEKLIBRARY entry, and nothing if all is well:

  $ mkdir lib
  $ echo 'DEFINE lib lib' >vek.lib
  $ vekinfo -checklibrary
  $ echo VEKLIBRARY >lib/vekinfo.tag
  $ vekinfo -checklibrary

-configurelibrary appends again at every run to a file with a syntax error:

  $ echo 'NAMESPACE Unix' >lib/vekinfo.tag
  $ vekinfo -configurelibrary 2>/dev/null
  $ vekinfo -configurelibrary 2>/dev/null
  $ grep -c '^VEKLIBRARY' lib/vekinfo.tag
  2
