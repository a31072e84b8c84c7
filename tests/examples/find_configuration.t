`find_configuration` finds a configuration file along the search list.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ mkdir -p "$HOME/.tolvane" site/veksetup area
  $ export VEK_SITE="$TREE/site" VEK_WORKAREA="$TREE/area"

  $ shown find_configuration colors.cfg
  search list
      .
      $TREE/area
      $HOME
      $TREE/site
  applies
      File not found
  can be written
      File not found
  [1]

The file of the nearest directory applies. In each directory, `.tolvane` and `veksetup` are searched, too:

  $ touch site/veksetup/colors.cfg "$HOME/.tolvane/colors.cfg"
  $ shown find_configuration colors.cfg
  search list
      .
      $TREE/area
      $HOME
      $TREE/site
  applies
      $HOME/.tolvane/colors.cfg
  all
      $HOME/.tolvane/colors.cfg
      $TREE/site/veksetup/colors.cfg
  can be written
      $HOME/.tolvane/colors.cfg

A `setup.loc` replaces the list:

  $ printf '$VEK_SITE\n~\n' >setup.loc
  $ shown find_configuration colors.cfg | head -n 5
  search list
      $TREE/site
      $HOME
  applies
      $TREE/site/veksetup/colors.cfg
  $ rm setup.loc

A file that cannot be read still is the first match:

  $ chmod 700 "$HOME/.tolvane/colors.cfg"
  $ chmod 755 "$HOME" "$HOME/.tolvane"
  $ unprivileged "$(command -v find_configuration)" colors.cfg | sed -n '/applies/,$p' | as_tree
  applies
      Permission denied
  all
      $TREE/site/veksetup/colors.cfg
  can be written
      File not found

  $ shown find_configuration
  usage: find_configuration NAME
  [2]
