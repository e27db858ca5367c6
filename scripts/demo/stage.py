"""A story of the real client on a virtual display, told in a folder that goes afterwards."""

import os
import sys
import tempfile

from desktop import Desktop
from processes import Children, Failure
from world import World, end_on_signals, limit_whole_run


def tell(programs, limit, make_teller, **display):
    """Calls tell() of what make_teller makes of the story's class, world, children and desktop; returns the exit status.

    What else is given goes to the desktop."""
    end_on_signals()
    limit_whole_run(limit)
    with tempfile.TemporaryDirectory(prefix="mav-story-") as folder:
        world = World(folder, os.path.abspath(programs), afresh=True)
        children = Children(world.path("logs"))
        try:
            world.use_stand_in_browser()
            desktop = Desktop(children, world.environment, world.runtime, **display)
            world.environment = desktop.environment
            os.environ.clear()
            os.environ.update(desktop.environment)
            from story import Story  # connects to the bus that the environment names
            make_teller(Story, world, children, desktop).tell()
            return 0
        except Failure as failure:
            print(f"FAILED: {failure}", file=sys.stderr)
            return 1
        finally:
            world.end_ticket_service()
            children.stop_all()
            world.remove_runtime()
