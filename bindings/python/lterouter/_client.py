# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lte_sdk.h, which states their contracts."""

import ctypes

from lterouter import _declared
from lterouter._library import (answered, at_most, check, check_sent, decoded, fitting, lib, line, milliseconds,
        uint32, uint8)
from lterouter.errors import RequestError
from lterouter.records import Operator


class Requests:
    """What a started client asks the WAN manager for."""

    def require_open(self) -> None:
        """Raises ValueError unless the client is started."""
        raise NotImplementedError

    def require_events(self) -> None:
        """Raises ValueError unless it is started with events."""
        raise NotImplementedError

    def send(self, module_id: int, msg_id: int, body: bytes) -> None:
        """Sends an asynchronous message."""
        self.require_open()
        check_sent(RequestError, "client.send", lib.send_request(uint32(module_id), uint32(msg_id),
            at_most(body, 1008), len(body)))

    def request(self, module_id: int, msg_id: int, body: bytes, timeout: float) -> bytes:
        """Sends a request and gives the body of its response."""
        self.require_open()
        rsp = ctypes.create_string_buffer(1008)
        rsp_len = ctypes.c_uint32(len(rsp))
        check_sent(RequestError, "client.request", lib.send_request_syn(uint32(module_id), uint32(msg_id),
            at_most(body, 1008), len(body), milliseconds(timeout), rsp, ctypes.byref(rsp_len)))
        return rsp.raw[: rsp_len.value]

    def notify(self, msg_id: int, body: bytes) -> None:
        """Sends a notification to every process that registered for it at this process."""
        self.require_open()
        check_sent(RequestError, "client.notify", lib.send_notify(uint32(msg_id), at_most(body, 1008), len(body)))

    def subscribe(self) -> None:
        """Subscribes again, for when a WAN manager has started later."""
        self.require_events()
        lib.regnotify()

    def connect(self) -> None:
        """Asks for the link; the outcome arrives as an event."""
        self.require_open()
        check(RequestError, "client.connect", lib.lct_connect())

    def disconnect(self) -> None:
        """Asks for the end of the link; the outcome arrives as an event."""
        self.require_open()
        check(RequestError, "client.disconnect", lib.lct_disconnect())

    def get_roaming(self) -> int:
        """Reads the roaming switch."""
        self.require_open()
        out = _declared.lct_value_rsp()
        check(RequestError, "client.get_roaming", lib.lct_get_roam_switch(ctypes.byref(out)))
        return int(out.value)

    def set_roaming(self, value: int) -> None:
        """Sets the roaming switch."""
        self.require_open()
        check(RequestError, "client.set_roaming",
            lib.lct_set_roam_switch(ctypes.byref(ctypes.c_uint32(uint32(value)))))

    def get_network_type(self) -> int:
        """Reads the network type."""
        self.require_open()
        out = _declared.lct_value_rsp()
        check(RequestError, "client.get_network_type", lib.lct_get_nettype(ctypes.byref(out)))
        return int(out.value)

    def set_network_type(self, nettype: int) -> None:
        """Sets the network type."""
        self.require_open()
        check(RequestError, "client.set_network_type",
            lib.lct_set_nettype(ctypes.byref(ctypes.c_uint32(uint32(nettype)))))

    def enable_pin(self, pin: str) -> None:
        """Has the SIM ask for its PIN at every start."""
        self.require_open()
        record = _declared.lct_pin(pin=fitting(pin, 16))
        check(RequestError, "client.enable_pin", lib.lct_enable_pin(ctypes.byref(record)))

    def disable_pin(self, pin: str) -> None:
        """Has the SIM no longer ask for its PIN."""
        self.require_open()
        record = _declared.lct_pin(pin=fitting(pin, 16))
        check(RequestError, "client.disable_pin", lib.lct_disenable_pin(ctypes.byref(record)))

    def change_pin(self, old_pin: str, new_pin: str) -> None:
        """Changes the SIM's PIN."""
        self.require_open()
        record = _declared.lct_pin_change(old_pin=fitting(old_pin, 16), new_pin=fitting(new_pin, 16))
        check(RequestError, "client.change_pin", lib.lct_modify_pin(ctypes.byref(record)))

    def set_pin_asking(self, enable: int) -> None:
        """Switches whether the PIN is asked for."""
        self.require_open()
        check(RequestError, "client.set_pin_asking",
            lib.lct_modify_pin_en(ctypes.byref(ctypes.c_uint8(uint8(enable)))))

    def set_pin_asking_loosely(self, enable: int) -> None:
        """As set_pin_asking, but any answer of one byte is a success."""
        self.require_open()
        check(RequestError, "client.set_pin_asking_loosely",
            lib.lct_sim_set_pinen_req(ctypes.byref(ctypes.c_uint8(uint8(enable)))))

    def search_operators(self) -> list[Operator]:
        """Searches for operators; prints the list to standard output too."""
        self.require_open()
        out = _declared.lct_netlist_rsp()
        check(RequestError, "client.search_operators", lib.lct_get_netlist_req(ctypes.byref(out)))
        return [Operator.of(each) for each in out.operators if any(bytes(each))]

    def get_imsi(self) -> str:
        """Reads the SIM's IMSI."""
        self.require_open()
        buf = ctypes.create_string_buffer(69)
        check(RequestError, "client.get_imsi", lib.lct_net_imsi_get_req(buf, 68))
        return answered(RequestError, "client.get_imsi", buf.raw)

    def use_apn(self) -> None:
        """Has the WAN manager use the access point name that the host has stored."""
        self.require_open()
        check(RequestError, "client.use_apn", lib.lct_apn_set_req())

    def set_preference(self, preference: int) -> None:
        """Sets the preference for a radio technology."""
        self.require_open()
        check(RequestError, "client.set_preference",
            lib.lct_net_set_pref_req(ctypes.byref(ctypes.c_uint32(uint32(preference)))))

    def inject_state(self, state: int) -> None:
        """Injects a state into the WAN manager's state machine, for tests."""
        self.require_open()
        check(RequestError, "client.inject_state",
            lib.lct_net_set_status_test_req(ctypes.byref(ctypes.c_uint32(uint32(state)))))

    def get_channel(self) -> int:
        """Reads the LTE channel in use."""
        self.require_open()
        channel = ctypes.c_uint32()
        check(RequestError, "client.get_channel", lib.lct_lte_channel_req(ctypes.byref(channel)))
        return channel.value

    def set_serial_port(self, port: int) -> None:
        """Selects the serial port of the modem."""
        self.require_open()
        check(RequestError, "client.set_serial_port", lib.lct_set_serial_port(uint32(port)))

    def snapshot(self) -> None:
        """Has the WAN manager take a snapshot for diagnosis, of what is public."""
        self.require_open()
        check(RequestError, "client.snapshot", lib.lct_get_diag_info())

    def snapshot_everything(self) -> None:
        """Has the WAN manager take a snapshot for diagnosis, of everything."""
        self.require_open()
        check(RequestError, "client.snapshot_everything", lib.lct_get_diag_hide_info())

    def at(self, cmd: str) -> str:
        """Has the modem carry out an AT command, and gives its answer."""
        self.require_open()
        out = ctypes.create_string_buffer(117)
        check(RequestError, "client.at", lib.lct_ext_at_req(line(cmd), out, 116))
        return decoded(out.value)

    def set_interface(self, readiness: int) -> None:
        """Brings the interface up (1) or down (0); the answer is not awaited."""
        self.require_open()
        record = _declared.lct_iface_status(readiness=uint32(readiness))
        check(RequestError, "client.set_interface", lib.lct_inface_status_req(ctypes.byref(record)))

    def switch_radio_off(self) -> None:
        """Switches the modem's radio off, and returns when the request has been sent."""
        self.require_open()
        check(RequestError, "client.switch_radio_off", lib.lct_at_cfun_off_req())

    def send_test_ussd(self) -> None:
        """Sends the SMS store an answer to a USSD code, for tests."""
        self.require_open()
        check(RequestError, "client.send_test_ussd", lib.lct_test_ussd_notify_req())
