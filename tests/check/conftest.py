"""The lab for tests of the built program."""

from fixtures import cleanup_on_sigterm, deadline, new_workspace, shared_lab
