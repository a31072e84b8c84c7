# Copies the manual page PAGE to OUTPUT and adds VERSION to the line .Os, which mandoc shows as the last line of the
# page.

file(READ ${PAGE} text)
if(NOT text MATCHES "\n\\.Os\n")
  message(FATAL_ERROR "${PAGE} has no line .Os")
endif()
string(REPLACE "\n.Os\n" "\n.Os vek ${VERSION}\n" text "${text}")
file(WRITE ${OUTPUT} "${text}")
