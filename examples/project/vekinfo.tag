# The whole project. These entries apply to every library below.
DMTYPE none
NAMESPACE LibraryUnix
OWNER  datapath-team
