"""`python3 -m vek.report` is the command vekreport."""

import sys

from vek.report import main

sys.exit(main())
