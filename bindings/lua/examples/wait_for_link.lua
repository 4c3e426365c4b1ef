-- Asks for the link and waits until it is up, ten seconds at most.
local lterouter = require("lterouter")

local client = assert(lterouter.client())
client:connect()
local status = 1
for event in client:events(10) do
    if event.link_status == lterouter.LCT_LINK_CONNECTED then
        print(event.interface_name .. " has " .. event.ip)
        status = 0
        break
    end
end
client:close()
os.exit(status)
