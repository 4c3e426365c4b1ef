-- What the modem is up to: values that the WAN manager keeps, and answers of its own.
local lterouter = require("lterouter")

-- nil, message and code of what has failed become the end of the program.
local function must(value, message)
    if value == nil then
        io.stderr:write("status: ", message, "\n")
        os.exit(1)
    end
    return value
end

print("signal " .. must(lterouter.lte.signal_level()))
print("SIM " .. must(lterouter.lte.sim_status()))
local client = must(lterouter.client({ events = false }))
print("roaming " .. (must(client:get_roaming()) == 1 and "on" or "off"))
print("IMSI " .. must(client:get_imsi()))
client:close()
