# Writes the public header HEADER as INSTALLED. There, all headers are in one directory.

file(READ ${HEADER} text)
string(REGEX REPLACE "(^|\n)(#include \")[a-z/]+/" "\\1\\2" text "${text}")
file(WRITE ${INSTALLED} "${text}")
