"""The cable between a serial port of the emulated board and one that modemsim makes on this machine."""

import contextlib
import os
import select
import socket
import threading
import tty

LOOK_AGAIN_SECONDS = 0.05


class Cable:
    """Carries bytes both ways. The modem's port vanishes while it restarts: what is sent then is lost, and the
    port is taken again when it is back. The machine has the far end."""

    def __init__(self, port):
        self.port = port
        self.near, self.far = socket.socketpair()
        self.modem = None
        self.cut = threading.Event()
        self.thread = threading.Thread(target=self.carry, daemon=True)
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, kind, error, trace):
        self.cut.set()
        self.thread.join()
        self.unplug()
        self.near.close()
        self.far.close()

    def plug(self):
        try:
            self.modem = os.open(self.port, os.O_RDWR | os.O_NOCTTY)
            tty.setraw(self.modem)
        except OSError:
            self.modem = None

    def unplug(self):
        if self.modem is not None:
            os.close(self.modem)
            self.modem = None

    def carry(self):
        while not self.cut.is_set():
            if self.modem is None:
                self.plug()
            ends = [self.near] if self.modem is None else [self.near, self.modem]
            for end in select.select(ends, [], [], LOOK_AGAIN_SECONDS)[0]:
                if end is self.near:
                    self.send()
                else:
                    self.receive()

    def send(self):
        data = self.near.recv(4096)
        if not data:
            self.cut.set()
        if self.modem is not None:
            try:
                while data:
                    data = data[os.write(self.modem, data):]
            except OSError:
                self.unplug()

    def receive(self):
        try:
            data = os.read(self.modem, 4096)
        except OSError:
            data = b""
        if data:
            with contextlib.suppress(OSError):
                self.near.sendall(data)
        else:
            self.unplug()
