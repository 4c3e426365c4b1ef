"""Asks for the link and waits until it is up, ten seconds at most."""

import lterouter

with lterouter.Client() as client:
    events = client.events(timeout=10)
    client.connect()
    for event in events:
        if isinstance(event, lterouter.LinkStatus) and event.link_status == lterouter.LinkState.CONNECTED:
            print(f"{event.interface_name} has {event.ip}")
            break
    else:
        raise SystemExit("wait_for_link: no link")
