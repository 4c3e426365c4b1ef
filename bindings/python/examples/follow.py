"""Shows what changes until nothing has for three seconds, beside whatever else the loop of asyncio does."""

import asyncio

import lterouter


async def follow(client: lterouter.Client) -> None:
    async for event in client.events(timeout=3):
        match event:
            case lterouter.LinkStatus(link_status=state, ip=ip):
                print("link", lterouter.names.link(state), ip, flush=True)
            case lterouter.InterfaceStatus(readiness=readiness):
                print("interface", "ready" if readiness == 1 else "not ready", flush=True)


with lterouter.Client() as opened:
    print("waiting", flush=True)
    asyncio.run(follow(opened))
