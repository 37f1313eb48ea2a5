"""Asks the installed GNOME Files extension for its right-click menu on a selection, as
nautilus-python does, and prints the command that one preset's entry starts, its words
separated by NUL; prints nothing when the selection gets no menu.

usage: NautilusMenu.py EXTENSION PRESET ITEM...
ITEM is a path, or the URI of a file that is not on a local disk."""
import importlib.util
import os
import sys

import gi

gi.require_version("Nautilus", "4.0")
from gi.repository import Gio, GLib  # noqa: E402


class Item:
    """A selected file as GNOME Files describes it to extensions."""

    def __init__(self, argument):
        self.location = Gio.File.new_for_commandline_arg(argument)
        self.argument = argument

    def get_location(self):
        return self.location

    def get_uri(self):
        return self.location.get_uri()

    def is_directory(self):
        return os.path.isdir(self.argument)

    def get_mime_type(self):
        if self.is_directory():
            return "inode/directory"
        return Gio.content_type_get_mime_type(Gio.content_type_guess(self.argument, None)[0])


extension, preset, arguments = sys.argv[1], sys.argv[2], sys.argv[3:]
spec = importlib.util.spec_from_file_location("tessel_make_contact_sheet", extension)
module = importlib.util.module_from_spec(spec)
spec.loader.exec_module(module)
started = []
GLib.spawn_async = lambda argv, *rest, **named: started.append(argv)

menu = module.MakeContactSheet().get_file_items([Item(argument) for argument in arguments])
for top in menu:
    for entry in top.props.menu.get_items():
        if entry.props.name == "TesselMakeContactSheet::" + preset:
            entry.activate()
sys.stdout.write("\0".join(started[0]) if started else "")
