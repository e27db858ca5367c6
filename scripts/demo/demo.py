#!/usr/bin/python3
"""Runs client, management server and agent in one folder; scripts/demo.sh builds them first."""

import argparse
import os
import signal
import sys

from desktop import Desktop
from processes import Children, Failure
from world import PASSWORD, USER, World, end_on_signals, limit_whole_run

CHECK_LIMIT = 170  # seconds


def print_what_to_try(world, client):
    print(f"""
  Server address   127.0.0.1   port {world.port}
  Account          {USER}   password {PASSWORD}
  Operator page    http://127.0.0.1:{world.port}/operator   (block, approve, expire, revoke, make answers fail)
  Agent's settings {world.path('agent', 'agent.json')}   (edit and save: tips, tray, tools, server,
                   "vpn": false, "vindor": {{"access": 7}}, "ticketService": {{"silent": true}})
  VPN component    ps aux | grep Mav.app/Contents/GWD/ZelVPN   (kill it: the client asks for it within 15 s)
  State files      {os.path.relpath(world.program('mavctl'))} archive show '{world.user_state('login.archive')}'
  Log              {world.path('home', 'Library', 'Logs', 'QenCloud', 'Logs')}
  Client           process {client.pid}; {world.write_launcher()} starts it once more

  Try: save the address, sign in, block the account on the operator page, start the client a second time,
  kill it and start it again, expire or revoke its session, revoke its certificate after a sign-in by code, kill the
  VPN component and the ticket service, sign out in the application menu, also while the server is stopped.
""", flush=True)


def stay():
    print("Ctrl+C ends the demo.", flush=True)
    while True:
        signal.pause()


def show_on_own_display(world, children):
    world.use_own_display()
    world.start_server(children)
    world.start_agent(children)
    print_what_to_try(world, world.start_client(children))
    stay()


def drive_on_virtual_display(world, children, everything):
    world.use_stand_in_browser()
    desktop = Desktop(children, world.environment, world.runtime)
    world.environment = desktop.environment
    os.environ.clear()
    os.environ.update(desktop.environment)
    from story import Story  # connects to the bus that the environment names
    story = Story(world, children, desktop)
    story.open()
    if everything:
        story.play_everything()
        return
    story.sign_in()
    print_what_to_try(world, story.client)
    if sys.stdin.isatty():
        stay()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="folder of the built programs")
    parser.add_argument("--check", action="store_true", help="play every step on a virtual display and end")
    options = parser.parse_args()
    end_on_signals()
    has_display = bool(os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"))
    driven = options.check or not has_display
    default = os.path.join(os.path.dirname(__file__), "..", "..", "demo")
    folder = os.path.abspath(os.environ.get("MAV_DEMO_FOLDER") or default)
    world = None
    children = None
    try:
        world = World(folder, os.path.abspath(options.programs), afresh=driven)
        children = Children(world.path("logs"))
        if options.check:
            limit_whole_run(CHECK_LIMIT)
        if driven:
            drive_on_virtual_display(world, children, options.check)
        else:
            show_on_own_display(world, children)
        return 0
    except Failure as failure:
        print(f"FAILED: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 1 if options.check else 0
    finally:
        if world:
            world.end_ticket_service()
        if children:
            children.stop_all()
        if world:
            world.remove_runtime()


if __name__ == "__main__":
    sys.exit(main())
