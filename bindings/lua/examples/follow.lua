-- Shows what changes until nothing has for three seconds.
local lterouter = require("lterouter")

local client = assert(lterouter.client())
io.stdout:setvbuf("line")
print("waiting")
for event in client:events(3) do
    if event.event == lterouter.LCT_EVENT_LINK_STATUS then
        print("link " .. lterouter.names.link(event.link_status) .. " " .. event.ip)
    else
        print("interface " .. (event.readiness == 1 and "ready" or "not ready"))
    end
end
client:close()
