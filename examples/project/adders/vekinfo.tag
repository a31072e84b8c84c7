# A library of adder cells.
VEKLIBRARY
PROCESS  n7    -- an application entry
