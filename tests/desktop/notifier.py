"""A StatusNotifier area, as a panel offers it on the session bus, and its user's hand."""
import threading
from contextlib import suppress
from gi.repository import Gio, GLib

WATCHER, ITEM = "org.kde.StatusNotifierWatcher", "org.kde.StatusNotifierItem"
PROTOCOL = f"""<node><interface name="{WATCHER}">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>"""


class NotifierArea:
    def __init__(self, bus_address):
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            bus_address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION)
        self.bus.register_object("/StatusNotifierWatcher",
                                 Gio.DBusNodeInfo.new_for_xml(PROTOCOL).interfaces[0],
                                 self.registered, lambda *_: GLib.Variant("b", True))
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()
        self.appear()

    def appear(self):
        self.item = None
        self.name = Gio.bus_own_name_on_connection(self.bus, WATCHER, 0)

    def vanish(self):
        Gio.bus_unown_name(self.name)

    def registered(self, _bus, sender, _path, _interface, _method, _arguments, invocation):
        self.item = sender
        invocation.return_value(None)

    def call(self, path, interface, method, signature, *arguments):
        return self.bus.call_sync(self.item, path, interface, method,
                                  GLib.Variant(signature, arguments), None, 0, 5000).unpack()

    def click(self):
        self.call("/StatusNotifierItem", ITEM, "Activate", "(ii)", 0, 0)

    def menu(self):
        """The exported menu: its items' texts, and the numbers they are chosen by."""
        with suppress(GLib.Error):
            path, = self.call("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                              "(ss)", ITEM, "Menu")
            _, root = self.call(path, "com.canonical.dbusmenu", "GetLayout", "(iias)", 0, -1, [])
            return path, {entry[1]["label"]: entry[0] for entry in root[2]}

    def choose(self, text):
        path, items = self.menu()
        self.call(path, "com.canonical.dbusmenu", "Event", "(isvu)", items[text], "clicked",
                  GLib.Variant("s", ""), 0)
