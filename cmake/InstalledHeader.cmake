# Copies the public header HEADER to INSTALLED and changes its #include lines: installed headers are in one directory.

file(READ ${HEADER} text)
string(REGEX REPLACE "(^|\n)(#include \")[a-z/]+/" "\\1\\2" text "${text}")
file(WRITE ${INSTALLED} "${text}")
