"""Runs checks one by one, and counts."""
import re


class Skip(Exception):
    pass


class Outcome:
    """Runs each check, in order; one that fails does not end the rest."""

    def __init__(self, only):
        self.only = only
        self.passed, self.failed, self.skipped = 0, [], []

    def check(self, name, call):
        if not re.search(self.only, name):
            return
        try:
            said = call()
            self.passed += 1
            print(f"passed   {name}{': ' + said if said else ''}", flush=True)
        except Skip as reason:
            self.skipped.append(name)
            print(f"skipped  {name}: {reason}", flush=True)
        except Exception as error:
            self.failed.append(name)
            print(f"FAILED   {name}: {error}", flush=True)
