# Made by scripts/bindings of include/ and bindings/interface.toml.
"""The exceptions of the families of functions."""

from lterouter._library import Error


class ParameterError(Error):
    """code is a ParameterCode."""

    texts = {
        1: "bad name, or no such parameter",
        2: "NULL argument, or the value does not fit the caller's buffer",
        3: "bad or unreadable file or checksum",
        4: "NULL or over-long value",
        5: "system failure",
        6: "the value differs",
    }


class MessagingError(Error):
    """code is a MessagingCode."""

    texts = {
        1: "parameter check failed",
        2: "not initialised",
        4: "length mismatch or unexpected message",
        5: "the caller's buffer or array is too small",
        6: "registration refused by the publisher",
        7: "timed out",
        8: "queue full and the caller would not wait",
        9: "queue empty and the caller would not wait",
        10: "socket error",
        11: "out of memory, list failure, or a limit reached",
    }


class TimerError(Error):
    """code is a TimerCode."""

    texts = {
        1: "not initialised; init_timer(): already, or out of memory",
        2: "bad argument",
        3: "the timer expired or was stopped",
        4: "the thread cannot be started",
        -1: "out of memory, or a list failure",
    }


class RequestError(Error):
    """Of the functions of lte_sdk.h."""

    text = "failed"


class NetworkError(Error):
    """Of the functions of lc_network.h."""

    text = "failed; the system's log tells why at level DEBUG"


class LogError(Error):
    """Of the functions of lc_log.h."""

    text = "no such log module, or the list of them cannot be read"


class UpgradeError(Error):
    """Of the functions of lc_up.h."""

    text = "failed; /tmp/ltelog.1 tells why"
