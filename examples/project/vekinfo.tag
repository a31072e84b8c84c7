# The whole project: what every library below inherits.
DMTYPE none
NAMESPACE LibraryUnix
OWNER  datapath-team
