"""python -m enhance_depth: the command line of the package."""

from .commands import main

raise SystemExit(main())
