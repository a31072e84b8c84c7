# Writes the manual page PAGE as OUTPUT: its last line shows VERSION.

file(READ ${PAGE} text)
if(NOT text MATCHES "\n\\.Os\n")
  message(FATAL_ERROR "${PAGE} has no line .Os")
endif()
string(REPLACE "\n.Os\n" "\n.Os vek ${VERSION}\n" text "${text}")
file(WRITE ${OUTPUT} "${text}")
