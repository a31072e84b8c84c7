"""The command vekreport: a site at a glance, as a page or as JSON."""

from vek.report._command import main

__all__ = ["main"]
