#!/usr/bin/env python3
"""Runs a command on a display of its own with the assistive technology bus
up, as a screen reader's desktop has it: Xvfb, at-spi-bus-launcher, Qt's
bridge switched on. The window tests that listen as a reader does only run
there. Run under dbus-run-session; exits 77 (skipped), saying what is
missing, where a piece is not installed."""
import os
import shutil
import subprocess
import sys


def skip(why):
    print("skipped: " + why)
    sys.exit(77)


def main():
    command = sys.argv[1:]
    if "DBUS_SESSION_BUS_ADDRESS" not in os.environ:
        skip("no session bus (run under dbus-run-session)")
    xvfb = shutil.which("Xvfb")
    launcher = "/usr/libexec/at-spi-bus-launcher"
    if xvfb is None:
        skip("Xvfb is not installed (Debian package xvfb)")
    if not os.path.exists(launcher):
        skip("at-spi-bus-launcher is not installed (Debian package at-spi2-core)")
    started = []
    try:
        # Xvfb takes a free display itself and writes its number: no race
        # with another suite's display started in the same moment.
        read_end, write_end = os.pipe()
        started.append(subprocess.Popen([xvfb, "-displayfd", str(write_end), "-screen", "0",
                                         "1280x1024x24", "-nolisten", "tcp"],
                                        pass_fds=(write_end,), stderr=subprocess.DEVNULL))
        os.close(write_end)
        with os.fdopen(read_end) as told:
            number = told.readline().strip()
        if not number.isdigit():
            skip("Xvfb did not start")
        env = dict(os.environ, DISPLAY=":" + number, QT_QPA_PLATFORM="xcb",
                   QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", VANTOR_READER_BUS="1")
        started.append(subprocess.Popen([launcher, "--launch-immediately"], env=env,
                                        stderr=subprocess.DEVNULL))
        return subprocess.call(command, env=env)
    finally:
        for process in reversed(started):
            process.terminate()
            try:
                process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                process.kill()


if __name__ == "__main__":
    sys.exit(main())
