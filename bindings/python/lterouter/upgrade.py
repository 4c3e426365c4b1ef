# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_up.h, which states their contracts."""

from lterouter._library import check, encoded, int32, lib, raw
from lterouter.errors import UpgradeError


def set_image_size(size: int) -> None:
    """Announces the size of the image, in bytes."""
    check(UpgradeError, "upgrade.set_image_size", lib.lc_set_img_size(int32(size)))


def start() -> None:
    """Switches the modem into upgrade mode and opens the transfer; takes 12 s or more."""
    check(UpgradeError, "upgrade.start", lib.lc_up_start())


def write(data: bytes) -> None:
    """Passes the next bytes of the image, best a multiple of 2048."""
    check(UpgradeError, "upgrade.write", lib.lc_up_img(raw(data), len(data)))


def confirm() -> None:
    """Asks the modem for the state of the upgrade, to which it must answer "OK"; takes 12 s."""
    check(UpgradeError, "upgrade.confirm", lib.lc_up_status())


def at(command: str) -> None:
    """Sends a command line to the AT port and reads replies, each for up to 5 s, until one comes that is not the
    echo of the command: 120 reads at most, some ten minutes."""
    check(UpgradeError, "upgrade.at", lib.lc_at_snd(encoded(command)))


def at_wait(command: str) -> None:
    """As at, but takes as the reply what there is to read after 2 s."""
    check(UpgradeError, "upgrade.at_wait", lib.lc_at_snd_wait(encoded(command)))
