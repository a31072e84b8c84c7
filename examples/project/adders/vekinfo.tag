# A library of adder cells.
VEKLIBRARY
PROCESS  n7    -- an entry of the project's own
