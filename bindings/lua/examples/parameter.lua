-- Sets a volatile parameter and reads it back, since a file that could not be made is no error.
local lterouter = require("lterouter")

assert(lterouter.ram.open())
assert(lterouter.ram.write("operator", "Testnet"))
print("operator: " .. lterouter.ram.read("operator"))
local value, message, code = lterouter.ram.read("no-such-parameter")
if value == nil then
    print(message .. " (code " .. code .. ")")
end
