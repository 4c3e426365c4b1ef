local client = assert(require("lterouter").client({ events = false }))
assert(client:connect())
client:close()
