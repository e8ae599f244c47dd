#!/usr/bin/python3
# The window as a screen reader reads it: the real client on a display of its
# own, the assistive technology bus, a real vantor-server on loopback, and
# the tree read and worked through AT-SPI (pyatspi), as Orca would.
#
# usage: with_reader_bus.py screen_reader_story.py VANTOR VANTOR_SERVER VANTORCTL
# under dbus-run-session (CTest does). Exits 77 (skipped) with a line saying
# what is missing when a piece is not installed.

import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

SKIP = 77


def skip(why):
    print("SKIPPED: " + why)
    sys.exit(SKIP)


class Output:
    """A process's output, collected as it comes."""

    def __init__(self, process):
        self.text = ""
        self.lock = threading.Lock()
        self.thread = threading.Thread(target=self._read, args=(process,), daemon=True)
        self.thread.start()

    def _read(self, process):
        for line in iter(process.stdout.readline, ""):
            with self.lock:
                self.text += line

    def get(self):
        with self.lock:
            return self.text


def wait_for(what, timeout=20.0, step=0.1):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        value = what()
        if value:
            return value
        time.sleep(step)
    return what()


def main():
    vantor, server_path, ctl_path = sys.argv[1:4]
    # Never the desktop's own display and bus: a display of its own.
    if os.environ.get("VANTOR_READER_BUS") != "1":
        skip("not on a display of its own (run it through tests/support/with_reader_bus.py)")
    try:
        import pyatspi  # noqa: F401
    except ImportError:
        skip("pyatspi is not installed (Debian package python3-pyatspi)")

    started = []
    workdir = tempfile.mkdtemp(prefix="vantor-a11y-")
    try:
        server = subprocess.Popen([server_path, "--bind", "127.0.0.1", "--port", "0",
                                   "--media-port", "0", "--discovery-port", "0",
                                   "--songs", "40", "--queue", "12"],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        started.append(server)
        server_out = Output(server)
        assert wait_for(lambda: " songs\n" in server_out.get()), server_out.get()
        text = server_out.get()
        port = re.search(r"listening on 127\.0\.0\.1:(\d+)", text).group(1)
        media = re.search(r", media on (\d+)", text).group(1)
        found = re.search(r"discovery on UDP (\d+)", text)
        discovery = found.group(1) if found else "9"

        def ctl(*args):
            return subprocess.run([ctl_path, "--server", "127.0.0.1", "--port", port,
                                   "--media-port", media] + list(args),
                                  capture_output=True, text=True, timeout=20).stdout

        settings = os.path.join(workdir, "settings.reg")
        with open(settings, "w") as f:
            f.write("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n"
                    "\"AutoConnect\"=dword:00000001\n")
        env = dict(os.environ, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                   QT_ACCESSIBILITY="1", QT_DEBUG_PLUGINS=os.environ.get("QT_DEBUG_PLUGINS", "0"))
        client = subprocess.Popen([vantor, "--config", settings, "--server", "127.0.0.1",
                                   "--port", port, "--media-port", media, "--broadcast",
                                   "127.0.0.1", "--discovery-port", discovery,
                                   "--log-level", "3", "--geometry", "480x640"],
                                  env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True)
        started.append(client)
        client_out = Output(client)
        assert wait_for(lambda: "title shown" in client_out.get()), (os.environ["DISPLAY"], client_out.get())

        story(pyatspi, ctl, client_out)

        # A first start (a settings file of its own) greets with a message
        # box: a reader reads it as an alert with its text and its OK.
        first = subprocess.Popen([vantor, "--config", os.path.join(workdir, "first.reg"),
                                  "--server", "127.0.0.1", "--port", port,
                                  "--media-port", media, "--broadcast", "127.0.0.1",
                                  "--discovery-port", discovery, "--geometry", "480x640"],
                                 env=env, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        started.append(first)
        welcome(pyatspi, first.pid)
        print("screen reader story: passed")
    finally:
        for process in reversed(started):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        shutil.rmtree(workdir, ignore_errors=True)


def story(pyatspi, ctl, client_out):
    from gi.repository import GLib

    def application():
        desktop = pyatspi.Registry.getDesktop(0)
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            if app is not None and app.name.lower() == "vantor":
                return app
        return None

    app = wait_for(application)
    assert app is not None, "the window is not on the accessibility bus"

    def find_all(predicate, root=None):
        found = []
        queue = [root or app]
        while queue:
            node = queue.pop(0)
            try:
                if predicate(node):
                    found.append(node)
                count = node.childCount
                if node.getRole() in (pyatspi.ROLE_LIST, pyatspi.ROLE_LIST_BOX,
                                      pyatspi.ROLE_TABLE, pyatspi.ROLE_TREE):
                    count = min(count, 60)
                for i in range(count):
                    child = node.getChildAtIndex(i)
                    if child is not None:
                        queue.append(child)
            except Exception:
                pass  # a control gone while read: the next look finds the rest
        return found

    def find(role, name):
        return wait_for(lambda: (find_all(lambda n: n.getRole() in role and n.name == name)
                                 or [None])[0], timeout=10)

    def act(node, word):
        action = node.queryAction()
        for i in range(action.nActions):
            if word in action.getName(i).lower():
                action.doAction(i)
                return
        raise AssertionError("no %s action on %s" % (word, node.name))

    buttons = (pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_TOGGLE_BUTTON)

    # Play, found by role and name, pressed: the server plays.
    play = find(buttons, "Play")
    assert play is not None, "no Play button in the tree"
    assert play.queryComponent().getExtents(pyatspi.DESKTOP_COORDS).width > 0
    act(play, "press")
    assert wait_for(lambda: "playing" in ctl("status").lower()), ctl("status")

    # Repeat is a two-state button: pressed, the server repeats and the
    # button reads checked; shuffle is there beside it.
    repeat = find(buttons, "Repeat")
    assert repeat is not None and find(buttons, "Shuffle") is not None
    act(repeat, "toggle")
    assert wait_for(lambda: re.search(r"repeat:\s+all", ctl("status"))), ctl("status")
    assert wait_for(lambda: repeat.getState().contains(pyatspi.STATE_CHECKED))
    # Qt 6.4 has no toggle-button role and no "checkable" state for a
    # reader: a push button that says whether it is on, offering "Toggle",
    # is what it can give (a newer Qt makes it a toggle button).
    shuffle = find(buttons, "Shuffle")
    for button in (repeat, shuffle):
        action = button.queryAction()
        names = [action.getName(i) for i in range(action.nActions)]
        assert "Toggle" in names and "Press" not in names, (button.name, names)
        # Pressed is Qt's "held down", not "on".
        assert not button.getState().contains(pyatspi.STATE_PRESSED), button.name
    assert not shuffle.getState().contains(pyatspi.STATE_CHECKED)

    # After Next the title label reads the new song.

    def title_now():
        status = ctl("status")
        match = re.search(r"^playing:\s+.* - (.+) \(\d+:\d\d\)$", status, re.MULTILINE)
        return match.group(1).strip() if match else None

    # A reader is told when the title changes, and is not told of the clock
    # ticking while the song plays.
    heard = []
    heard_at = []

    def listen(event):
        heard_at.append(time.monotonic())
        try:
            heard.append((event.type, event.source.name, event.source.getRoleName()))
        except Exception:
            heard.append((event.type, None, None))

    kinds = ("object:property-change:accessible-name", "object:property-change:accessible-value")
    pyatspi.Registry.registerEventListener(listen, *kinds)
    context = GLib.MainContext.default()

    def pump(seconds, until=lambda: False):
        end = time.monotonic() + seconds
        while time.monotonic() < end and not until():
            while context.pending():
                context.iteration(False)
            time.sleep(0.02)

    pump(3.5)
    assert "playing" in ctl("status").lower()
    assert heard == [], heard

    # The volume slider set: the server's volume.
    volume = find((pyatspi.ROLE_SLIDER,), "Volume")
    assert volume is not None, "no Volume slider"
    value = volume.queryValue()
    assert value.maximumValue == 100 and value.minimumValue == 0
    set_at = time.monotonic()
    value.currentValue = 40
    pump(2, lambda: any(h[1] == "Volume" for h in heard))
    shown = [at for h, at in zip(heard, heard_at) if h[1] == "Volume"]
    assert shown and heard[0][0] == kinds[1], heard
    print("the reader heard the volume it set %.1f ms later" % ((shown[0] - set_at) * 1000))
    assert wait_for(lambda: re.search(r"volume\D*40\b", ctl("status").lower())), ctl("status")

    del heard[:]
    del heard_at[:]

    before = wait_for(title_now)
    next_button = find(buttons, "Next")
    pressed_at = time.monotonic()
    act(next_button, "press")
    # Listened for at once: the reader is told only while it pumps.
    pump(5, lambda: any(h[0] == kinds[0] and h[2] == "label" for h in heard))
    title = wait_for(lambda: title_now() != before and title_now())
    assert title, ctl("status")
    pump(5, lambda: any(name and title in name for _, name, _ in heard))
    told = [h for h in heard if h[1] and title in h[1]]
    assert told and told[0][0] == kinds[0] and told[0][2] == "label", heard
    print("the reader heard the new title %.1f ms after pressing Next (server round trip "
          "included)" % ((heard_at[heard.index(told[0])] - pressed_at) * 1000))
    labels = lambda: [n.name for n in find_all(lambda n: n.getRole() == pyatspi.ROLE_LABEL)]
    assert any(title in name for name in labels()), (title, labels())

    # The title pressed leads to the now-playing screen: the art is an image
    # described by its album, the lines are labels; what the main screen
    # alone shows has left the tree. The art pressed leads back.
    title_label = [n for n in find_all(lambda n: n.getRole() == pyatspi.ROLE_LABEL)
                   if title in n.name][0]

    # A switch of screens is heard as the screen's title.
    def switched_to(name):
        pump(5, lambda: any(h[1] == name for h in heard))
        return any(h[0] == kinds[0] and h[1] == name for h in heard)

    del heard[:]
    act(title_label, "press")
    assert switched_to("Now Playing"), heard
    art = find((pyatspi.ROLE_IMAGE,), "Album art")
    assert art is not None, "no album art on the now-playing screen"
    album = re.search(r"^album:\s+(.+)$", ctl("status"), re.MULTILINE).group(1).strip()
    assert wait_for(lambda: art.description == album), (art.description, album)
    assert title in labels(), labels()
    # The playing state shows on the main screen only.
    states = lambda: [n for n in find_all(lambda n: n.getRole() == pyatspi.ROLE_LABEL)
                      if n.name in ("Playing", "Paused", "Stopped")]
    assert states() == [], [n.name for n in states()]
    del heard[:]
    act(art, "press")
    assert switched_to("Controls"), heard
    assert wait_for(lambda: [n.name for n in states()] == ["Playing"])

    # The queue's rows read in order, as "Title, Artist, 3:27".
    queue = [line for line in ctl("queue", "0", "5").splitlines() if line.startswith("  ")]
    rows = wait_for(lambda: [n.name for n in find_all(
        lambda n: n.getRole() in (pyatspi.ROLE_LIST_ITEM, pyatspi.ROLE_TABLE_CELL))
        if n.name][:5])
    assert len(rows) >= 3, rows
    for row in rows:
        assert re.search(r", [1-9]?\d:\d\d$", row), rows
    for line, row in zip(queue, rows):
        assert row.split(",")[0] in line, (queue, rows)

    assert len(queue) == len(rows), (queue, rows)

    # The command bar opens the library: heard by the library's title, the
    # tab that is on in its tab row.
    del heard[:]
    act(find(buttons, "Library"), "press")
    on_tab = wait_for(lambda: [n.name for n in find_all(
        lambda n: n.getRole() == pyatspi.ROLE_PAGE_TAB and
        n.getState().contains(pyatspi.STATE_CHECKED))])
    assert on_tab, "no tab on in the library's tab row"
    assert switched_to(on_tab[0]), (on_tab, heard)
    # The other tab, pressed, is heard as the new title: the screen stays.
    other = wait_for(lambda: [n for n in find_all(
        lambda n: n.getRole() == pyatspi.ROLE_PAGE_TAB and
        not n.getState().contains(pyatspi.STATE_CHECKED))])
    assert other, "the library's tab row has one tab"
    other_name = other[0].name
    del heard[:]
    names = [other[0].queryAction().getName(i) for i in range(other[0].queryAction().nActions)]
    act(other[0], "toggle" if "Toggle" in names else "press")
    assert switched_to(other_name), (other_name, heard)
    del heard[:]
    act(find(buttons, "Controls"), "press")
    assert switched_to("Controls"), heard
    pyatspi.Registry.deregisterEventListener(listen, *kinds)


def welcome(pyatspi, pid):
    def alert():
        desktop = pyatspi.Registry.getDesktop(0)
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            try:
                if app is None or app.get_process_id() != pid:
                    continue
                for j in range(app.childCount):
                    window = app.getChildAtIndex(j)
                    if window is not None and window.getRole() == pyatspi.ROLE_ALERT:
                        return window
            except Exception:
                pass
        return None

    box = wait_for(alert)
    assert box is not None, "no alert on a first start"
    texts = []
    queue = [box]
    while queue:
        node = queue.pop(0)
        texts.append(node.name)
        try:
            texts.append(node.queryText().getText(0, -1))
        except NotImplementedError:
            pass
        queue.extend(node.getChildAtIndex(i) for i in range(node.childCount))
    said = " ".join(t for t in texts if t)
    assert "Welcome to Vantor!" in said, said
    ok = [n for n in pyatspi.findAllDescendants(
        box, lambda n: n.getRole() == pyatspi.ROLE_PUSH_BUTTON and n.name == "OK")]
    assert ok, said


if __name__ == "__main__":
    main()
