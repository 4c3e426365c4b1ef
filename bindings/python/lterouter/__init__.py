"""The library that the management processes of an LTE router share.

Parameters are in ram (volatile) and nvm (persistent), requests to the WAN manager are methods of a Client, what needs
none is in lte, log, names, network, timers and upgrade. The contract of each function is in its header."""

from lterouter import constants, errors, log, lte, messaging, names, network, nvm, ram, timers, upgrade
from lterouter._library import Error
from lterouter.client import Client, Event
from lterouter.constants import LinkState, LogLevel, Module, Request
from lterouter.errors import (LogError, MessagingError, NetworkError, ParameterError, RequestError, TimerError,
                              UpgradeError)
from lterouter.messaging import Address, Endpoint, Message
from lterouter.records import AccessPoint, InterfaceCounters, InterfaceStatus, LinkStatus, LogModule, Operator
from lterouter.timers import Timer

__all__ = [
    "AccessPoint", "Address", "Client", "Endpoint", "Error", "Event", "InterfaceCounters", "InterfaceStatus",
    "LinkState", "LinkStatus", "LogError", "LogLevel", "LogModule", "Message", "MessagingError", "Module",
    "NetworkError", "Operator", "ParameterError", "Request", "RequestError", "Timer", "TimerError", "UpgradeError",
    "constants", "errors", "log", "lte", "messaging", "names", "network", "nvm", "ram", "timers", "upgrade",
]
