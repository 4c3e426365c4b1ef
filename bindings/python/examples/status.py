"""What the modem is up to: values that the WAN manager keeps, and an answer of its own."""

import lterouter

try:
    print("signal", lterouter.lte.signal_level())
    print("SIM", lterouter.lte.sim_status())
    with lterouter.Client(events=False) as client:
        print("roaming", "on" if client.get_roaming() == 1 else "off")
        print("IMSI", client.get_imsi())
except lterouter.Error as error:
    raise SystemExit(f"status: {error}") from None
