-- What the module does beside a running wansim, in Lua 5.1 and later. It ends with 0 when everything held.
local lterouter = require("lterouter")

local PING = 0x20000001

local function equal(found, expected)
    if found ~= expected then
        error("found " .. tostring(found) .. ", not " .. tostring(expected), 2)
    end
end

local function fails(message, code, ...)
    local value, told, number = ...
    equal(value, nil)
    equal(told, message)
    equal(number, code)
end

local function raises(pattern, called, ...)
    local done, message = pcall(called, ...)
    equal(done, false)
    if not message:find(pattern) then
        error("raised " .. message, 2)
    end
end

-- Values
equal(lterouter.ram.open(), true)
equal(lterouter.ram.write("menu", "caf\233 \195\169"), true)
equal(lterouter.ram.read("menu"), "caf\233 \195\169")
equal(lterouter.ram.match("menu", "caf\233 \195\169"), true)
equal(lterouter.ram.match("menu", "tea"), false)
fails("ram.match: system failure", lterouter.NV_ERR_SYSTEM, lterouter.ram.match("nothing", "x"))
raises("NUL", lterouter.ram.read, "a\0b")
raises("out of range", lterouter.names.link, -1)
raises("out of range", lterouter.names.link, 1.5)
raises("out of range", lterouter.names.link, 4294967296)
equal(lterouter.names.link(lterouter.LCT_LINK_CONNECTED), "CONN_CONNECTED")
fails("nvm.look_up: bad or unreadable file or checksum", 3, lterouter.nvm.look_up("/nowhere", "name", false))
fails("network.add_route: Invalid argument", 22, lterouter.network.add_route("lo", 0, "no address"))
equal(lterouter.network.add_default_routes("lo", ""), nil)
fails("log.find_module: no such log module, or the list of them cannot be read", 4, lterouter.log.find_module(99))
equal(lterouter.log.find_module(3).name, "WanManager")
equal(lterouter.nvm.checksum(lterouter.nvm.checksum(0, "1234"), "56789"), 0x2DFD2D88)
if math.type then
    equal(math.type(lterouter.nvm.checksum(0, "1")), "integer")
end
local point = lterouter.lte.parse_apn_list("a&1&b&c&d&internet&1&e&2&3>")
equal(point.apn .. point.text1 .. point.enabled .. point.number2, "interneta12")
equal(type(lterouter.lte.statistics("lo").rx_packets), "number")
equal(lterouter.NVMRAM_DIR, "/tmp/nv/")

equal(lterouter.messaging.set_send_limit(0), true)

-- The client: requests
local client = assert(lterouter.client({ events = false }))
fails("client: the process has an open client or endpoint already", lterouter.IPC_ERR_REFUSED, lterouter.client())
fails("lte.change_state: the process has an open client or endpoint already", lterouter.IPC_ERR_REFUSED,
    lterouter.lte.change_state())
fails("lte.delete_messages: the process has an open client or endpoint already", lterouter.IPC_ERR_REFUSED,
    lterouter.lte.delete_messages())
equal(client:set_roaming(1), true)
equal(client:get_roaming(), 1)
equal(#client:request(lterouter.IPC_MODULE_MM, lterouter.WM_MSG_ROAM_SWITCH_GET_REQ, "", 3), 8)
fails("client:request: failed", 0, client:request(lterouter.IPC_MODULE_CGI, PING, "", 2))
raises("without events", client.events, client)
raises("without events", client.next_event, client, 0)
raises("without events", client.subscribe, client)
assert(client:at("AT+CSQ"):find("+CSQ: 18", 1, true))
fails("client:enable_pin: failed", -1, client:enable_pin("9999"))
raises("too long", client.enable_pin, client, ("1"):rep(16))
local found = client:search_operators()
equal(type(found[1].name), "string")
equal(#found[1].numbers, 5)
raises("too long", client.notify, client, PING, ("x"):rep(1009))
equal(client:close(), true)
client:close()
raises("closed", client.get_roaming, client)
equal(lterouter.lte.change_state(), true)

-- The client: events
client = assert(lterouter.client())
fails("client:next_event: timed out", lterouter.IPC_ERR_TIMEOUT, (function()
    while client:next_event(0) do end
    return client:next_event(0)
end)())
client:connect()
local states = {}
for event in client:events(30) do
    states[#states + 1] = event.link_status
    if event.link_status == lterouter.LCT_LINK_CONNECTED then
        break
    end
end
fails("client:next_event: timed out", lterouter.IPC_ERR_TIMEOUT, client:next_event(0.1))
equal(table.concat(states, " "), "3 2")
assert(client:fd() > 2)
client = nil
collectgarbage() -- which closes it

-- Endpoints
local endpoint = assert(lterouter.endpoint(lterouter.IPC_MODULE_UPTEST, { capacity = 4 }))
equal(endpoint:send(lterouter.IPC_MODULE_UPTEST, PING, "abc"), true)
local message = endpoint:receive(3)
equal(message.id, PING)
equal(message.body, "abc")
equal(#message.sender, 116)
equal(endpoint:send(message.sender, PING + 1), true)
equal(endpoint:receive(3).body, "")
fails("endpoint:request: socket error", lterouter.IPC_ERR_SOCKET, endpoint:request(lterouter.IPC_MODULE_CGI, PING, "", 2))
fails("endpoint:request: timed out", lterouter.IPC_ERR_TIMEOUT, endpoint:request(lterouter.IPC_MODULE_UPTEST, PING, "q", 1))
message = endpoint:receive(3)
equal(message.type, lterouter.IPC_MSG_TYPE_REQUEST)
equal(endpoint:reply(message, "late"), true) -- nobody waits for it any more
equal(endpoint:subscribe(lterouter.IPC_MODULE_UPTEST, PING + 2, 3), true)
equal(endpoint:notify(PING + 2, "news"), true)
equal(endpoint:receive(3).body, "news")
equal(endpoint:unsubscribe(lterouter.IPC_MODULE_UPTEST, PING + 2), true)
equal(endpoint:discard(PING), true)
raises("no such module", endpoint.send, endpoint, 99, PING)
raises("too long", endpoint.send, endpoint, 0, PING, ("x"):rep(1009))
raises("bad field 'session'", endpoint.reply, endpoint, { sender = message.sender, id = PING })
raises("no sender", endpoint.reply, endpoint, {})
raises("bad field 'capacity'", lterouter.endpoint, lterouter.IPC_MODULE_UPTEST, { capacity = -1 })
equal(endpoint:close(), true)
fails("endpoint: parameter check failed", lterouter.IPC_ERR_PARAM, lterouter.endpoint(99))

-- Timers
local timer = assert(lterouter.timer(0.05, true))
local repeating, once = lterouter.timers.count()
equal(repeating .. " " .. once, "1 0")
local expired = 0
for count in timer:expirations(3) do
    expired = expired + count
    if expired >= 2 then
        break
    end
end
equal(timer:running(), true)
equal(timer:close(), true)
raises("closed", timer.wait, timer)
fails("timer: bad argument", lterouter.TIMER_ERR_PARAM, lterouter.timer(1, false, ("x"):rep(21)))
timer = assert(lterouter.timer(0.05))
equal(timer:wait(3), 1)
equal(timer:running(), false)
timer = nil
collectgarbage()
equal(lterouter.timers.count(), 0)
