# Writes the public header HEADER as INSTALLED, whose own folder holds all the others, too.

file(READ ${HEADER} text)
string(REGEX REPLACE "(^|\n)(#include \")[a-z/]+/" "\\1\\2" text "${text}")
file(WRITE ${INSTALLED} "${text}")
