none
