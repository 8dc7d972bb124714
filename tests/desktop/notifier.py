"""A StatusNotifier area, as a panel offers it on the session bus, and its user's hand."""
import threading
from contextlib import suppress
from dasbus.connection import AddressedMessageBus
from dasbus.error import DBusError
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"


class NotifierArea:
    __dbus_xml__ = f"""<node><interface name="{WATCHER}">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    </interface></node>"""
    IsStatusNotifierHostRegistered = True

    def __init__(self, address):
        self.bus = AddressedMessageBus(address)
        self.bus.publish_object("/StatusNotifierWatcher", self)
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()
        self.appear()

    def appear(self):
        self.service = None
        self.bus.register_service(WATCHER)

    def vanish(self):
        self.bus.unregister_service(WATCHER)

    def RegisterStatusNotifierItem(self, service):
        self.service = service

    def item(self):
        return self.bus.get_proxy(self.service, "/StatusNotifierItem")

    def menu(self):
        """The exported menu, and the numbers that its texts are chosen by."""
        with suppress(DBusError, TimeoutError, AttributeError):
            menu = self.bus.get_proxy(self.service, self.item().Menu)
            entries = [entry.unpack() for entry in menu.GetLayout(0, -1, [])[1][2]]
            return menu, {texts["label"]: number for number, texts, _ in entries}

    def choose(self, text):
        menu, numbers = self.menu()
        menu.Event(numbers[text], "clicked", GLib.Variant("s", ""), 0)
