-- Shows the messages of the router's processes in Wireshark and tshark, from files that "ltectl bus capture" writes:
--
--   tshark -X lua_script:lterouter.lua -r FILE
--   ltectl bus capture - | tshark -X lua_script:lterouter.lua -i -
--
-- Wireshark loads it by itself from the folder "Personal Lua Plugins" of Help, About, Folders.
-- docs/formats.md describes files and messages. Every byte may come from a hostile process: nothing is read before its
-- length has been checked.

-- From lib/lte_sdk/request_table.h and the headers in include/; tests/tools/dissector_test.py compares it with them,
-- and shows what it has to be.
-- BEGIN
local types = {[0] = "async", [1] = "request", [2] = "response", [3] = "short"}
local link_states = {[0] = "disconnected", [1] = "disconnecting", [2] = "connected", [3] = "connecting", [4] = "clear"}
local modules = {wm = {0}, mm = {1}, cgi = {2}, cli1 = {3, 4}, sms_pb = {6}, uptest = {7}}
local messages = {
    {id = 0x00000002, name = "IPC_MSG_ID_REGISTER", body = "message_id", answer = "result"},
    {id = 0x00000003, name = "IPC_MSG_ID_DEREGISTER", body = "message_id", answer = "none"},
    {id = 0x10400001, name = "WM_MSG_CONNECT_REQ", body = "none", answer = "none"},
    {id = 0x10400003, name = "WM_MSG_DISCONNECT_REQ", body = "none", answer = "none"},
    {id = 0x1040009c, name = "WM_MSG_PIN_ENABLE_REQ", body = "pin", answer = "result"},
    {id = 0x10400070, name = "WM_MSG_PIN_DISABLE_REQ", body = "pin", answer = "result"},
    {id = 0x10400080, name = "WM_MSG_PIN_MODIFY_REQ", body = "pins", answer = "result"},
    {id = 0x10400082, name = "WM_MSG_PIN_MODIFY_EN_REQ", body = "byte", answer = "result"},
    {id = 0x10400082, name = "WM_MSG_PIN_MODIFY_EN_REQ", body = "byte", answer = "byte"},
    {id = 0x1040005c, name = "WM_MSG_NETTYPE_SET_REQ", body = "number", answer = "result"},
    {id = 0x1040005a, name = "WM_MSG_NETTYPE_GET_REQ", body = "none", answer = "value"},
    {id = 0x1040006c, name = "WM_MSG_ROAM_SWITCH_SET_REQ", body = "roaming", answer = "result"},
    {id = 0x1040006a, name = "WM_MSG_ROAM_SWITCH_GET_REQ", body = "none", answer = "value"},
    {id = 0x104000c7, name = "WM_MSG_SERIAL_PORT_SET_REQ", body = "number", answer = "result"},
    {id = 0x10400086, name = "WM_MSG_NETLIST_SEARCH_REQ", body = "none", answer = "operators"},
    {id = 0x104000c1, name = "WM_MSG_DIAG_INFO_REQ", body = "none", answer = "result"},
    {id = 0x104000c3, name = "WM_MSG_DIAG_HIDE_INFO_REQ", body = "none", answer = "result"},
    {id = 0x104000bd, name = "WM_MSG_IMSI_GET_REQ", body = "none", answer = "imsi"},
    {id = 0x104000aa, name = "WM_MSG_APN_SET_REQ", body = "none", answer = "result"},
    {id = 0x104000a3, name = "WM_MSG_DUALMODE_SET_PREF_REQ", body = "number", answer = "result"},
    {id = 0x10000001, name = "SC_STATE_CHANGE_REQ", body = "number", answer = "result"},
    {id = 0x104000c5, name = "WM_MSG_LTE_CHANNEL_REQ", body = "none", answer = "value"},
    {id = 0x1040008f, name = "WM_MSG_MODEM_AT_REQ", body = "command", answer = "at"},
    {id = 0x104000bf, name = "WM_MSG_IFACE_UPORDOWN_REQ", body = "interface", answer = "none"},
    {id = 0x104000cf, name = "WM_MSG_AT_CFUN_OFF_REQ", body = "none", answer = "none"},
    {id = 0x10000001, name = "SC_STATE_CHANGE_REQ", body = "none", answer = "result"},
    {id = 0x104000d1, name = "WM_MSG_SMS_DEL_ALL_REQ", body = "none", answer = "result"},
    {id = 0x104000b3, name = "WM_MSG_MODEM_NOTIFY", body = "text", answer = "none"},
    {id = 0x10400017, name = "WM_MSG_IFACE_STATUS_NOTIFY", body = "interface", answer = "none"},
    {id = 0x10400016, name = "WM_MSG_LINK_STATUS_NOTIFY", body = "link", answer = "none"},
}
-- END

local TYPE_REQUEST, TYPE_RESPONSE = 1, 2

local proto = Proto("lterouter", "LTE router message")

-- ---- Fields ----

local message_names, rows_of = {}, {} -- by message
for _, row in ipairs(messages) do
    message_names[row.id] = row.name
    rows_of[row.id] = rows_of[row.id] or {}
    table.insert(rows_of[row.id], row)
end

local f = {
    format = ProtoField.uint8("lterouter.format", "Format"),
    order = ProtoField.uint8("lterouter.order", "Byte order", base.DEC,
                             {[1] = "most significant byte first", [2] = "least significant byte first"}),
    flags = ProtoField.uint8("lterouter.flags", "Flags", base.HEX),
    masked = ProtoField.bool("lterouter.masked", "PINs are replaced by asterisks", 8, nil, 0x01),
    source_length = ProtoField.uint8("lterouter.source_length", "Source length"),
    destination_length = ProtoField.uint8("lterouter.destination_length", "Destination length"),
    source = ProtoField.string("lterouter.source", "Source"),
    destination = ProtoField.string("lterouter.destination", "Destination"),
    module = ProtoField.string("lterouter.module", "Module"),
    type = ProtoField.uint32("lterouter.type", "Type", base.DEC, types),
    message = ProtoField.uint32("lterouter.message", "Message", base.HEX, message_names),
    length = ProtoField.uint32("lterouter.length", "Body length"),
    session = ProtoField.uint32("lterouter.session", "Session"),
    request_in = ProtoField.framenum("lterouter.request_in", "Request in", base.NONE, frametype.REQUEST),
    response_in = ProtoField.framenum("lterouter.response_in", "Response in", base.NONE, frametype.RESPONSE),
    time = ProtoField.relative_time("lterouter.time", "Time since the request"),
    body = ProtoField.bytes("lterouter.body", "Body"),
    result = ProtoField.int32("lterouter.result", "Result"),
    value = ProtoField.uint32("lterouter.value", "Value"),
    switch = ProtoField.uint8("lterouter.switch", "Switch"),
    roaming = ProtoField.uint32("lterouter.roaming", "Roaming", base.DEC, {[0] = "off", [1] = "on"}),
    notification = ProtoField.uint32("lterouter.notification", "Notification", base.HEX, message_names),
    pin = ProtoField.string("lterouter.pin", "PIN"),
    new_pin = ProtoField.string("lterouter.new_pin", "New PIN"),
    text = ProtoField.string("lterouter.text", "Text"),
    imsi = ProtoField.string("lterouter.imsi", "IMSI"),
    iface_type = ProtoField.uint32("lterouter.iface_type", "Interface type"),
    link = ProtoField.uint32("lterouter.link", "Link", base.DEC, link_states),
    ip_status = ProtoField.uint32("lterouter.ip_status", "IP status"),
    interface = ProtoField.string("lterouter.interface", "Interface"),
    ip = ProtoField.string("lterouter.ip", "Address"),
    gateway = ProtoField.string("lterouter.gateway", "Gateway"),
    dns1 = ProtoField.string("lterouter.dns1", "Name server 1"),
    dns2 = ProtoField.string("lterouter.dns2", "Name server 2"),
    mask = ProtoField.string("lterouter.mask", "Mask"),
    readiness = ProtoField.uint32("lterouter.readiness", "Readiness", base.DEC, {[1] = "ready"}),
    command = ProtoField.string("lterouter.command", "Command"),
    command_length = ProtoField.uint32("lterouter.command_length", "Command length"),
    modem_timeout = ProtoField.uint32("lterouter.modem_timeout", "Time-out of the modem in ms"),
    markers = ProtoField.uint32("lterouter.markers", "Markers"),
    marker = ProtoField.string("lterouter.marker", "Marker"),
    at_type = ProtoField.uint32("lterouter.at_type", "Type of text", base.DEC, {[0] = "answer", [1] = "path of a file"}),
    at_length = ProtoField.uint32("lterouter.at_length", "Length of text"),
    operator = ProtoField.string("lterouter.operator", "Operator"),
    operator_number = ProtoField.int32("lterouter.operator.number", "Number"),
}
for _, field in pairs(f) do
    table.insert(proto.fields, field)
end

local function mark(name, text, group, severity)
    local expertise = ProtoExpert.new("lterouter." .. name, text, group, severity)
    table.insert(proto.experts, expertise)
    return expertise
end

local e = {
    format = mark("bad_format", "Not a packet of this format", expert.group.MALFORMED, expert.severity.ERROR),
    short = mark("truncated", "The message is cut", expert.group.MALFORMED, expert.severity.ERROR),
    length = mark("bad_length", "The length is not that of the body", expert.group.MALFORMED, expert.severity.ERROR),
    layout = mark("bad_layout", "The body is not one of this message", expert.group.MALFORMED, expert.severity.WARN),
    type = mark("unknown_type", "Unknown type", expert.group.PROTOCOL, expert.severity.WARN),
    message = mark("unknown_message", "Unknown message", expert.group.UNDECODED, expert.severity.NOTE),
    refused = mark("refused", "Refused", expert.group.RESPONSE_CODE, expert.severity.NOTE),
}

-- ---- Reading ----

-- Bytes in the byte order of their sender. Whoever asks for something has checked that it is there.
local Bytes = {}
Bytes.__index = Bytes

local function bytes_of(range, length, big)
    return setmetatable({range = range, length = length, big = big}, Bytes)
end

function Bytes:word(at)
    local range = self.range(at, 4)
    return self.big and range:uint() or range:le_uint()
end

function Bytes:signed(at)
    local range = self.range(at, 4)
    return self.big and range:int() or range:le_int()
end

function Bytes:from(at)
    return bytes_of(at < self.length and self.range(at) or nil, self.length - at, self.big)
end

function Bytes:add(tree, field, at, size)
    local range = self.range(at, size or 4)
    return self.big and tree:add(field, range) or tree:add_le(field, range)
end

-- Up to its NUL, or to its end.
function Bytes:text(at, size)
    local raw = size > 0 and self.range(at, size):bytes():raw() or ""
    return raw:match("^[^%z]*")
end

function Bytes:add_text(tree, field, at, size)
    local text = self:text(at, size):gsub("[%c\128-\255]", "?")
    if size > 0 then
        tree:add(field, self.range(at, size), text)
    else
        tree:add(field, text)
    end
    return text
end

-- ---- Bodies ---- by what the table calls them: how long they are, and what is in them. Each returns what stands in
-- the list of packets.

local bodies = {}

local function body(name, least, most, show)
    bodies[name] = {least = least, most = most, show = show}
end

body("none", 0, 0, function() return "" end)

body("number", 4, 4, function(bytes, tree)
    bytes:add(tree, f.value, 0)
    return "value=" .. bytes:word(0)
end)

body("byte", 1, 1, function(bytes, tree)
    bytes:add(tree, f.switch, 0, 1)
    return "value=" .. bytes.range(0, 1):uint()
end)

body("roaming", 4, 4, function(bytes, tree)
    bytes:add(tree, f.roaming, 0)
    return "roaming=" .. bytes:word(0)
end)

body("message_id", 4, 4, function(bytes, tree)
    bytes:add(tree, f.notification, 0)
    local id = bytes:word(0)
    return "notification=" .. (message_names[id] or string.format("0x%08x", id))
end)

body("pin", 16, 16, function(bytes, tree)
    bytes:add_text(tree, f.pin, 0, 16)
    return ""
end)

body("pins", 32, 32, function(bytes, tree)
    bytes:add_text(tree, f.pin, 0, 16)
    bytes:add_text(tree, f.new_pin, 16, 16)
    return ""
end)

body("text", 0, 1008, function(bytes, tree)
    return "text=" .. bytes:add_text(tree, f.text, 0, bytes.length)
end)

body("link", 656, 656, function(bytes, tree)
    bytes:add(tree, f.iface_type, 0)
    bytes:add(tree, f.link, 8)
    bytes:add(tree, f.ip_status, 12)
    local interface = bytes:add_text(tree, f.interface, 20, 16)
    for number, field in ipairs({f.ip, f.gateway, f.dns1, f.dns2, f.mask}) do
        bytes:add_text(tree, field, 36 + 18 * (number - 1), 18)
    end
    local state = bytes:word(8)
    return "link=" .. (link_states[state] or state) .. (interface ~= "" and " interface=" .. interface or "")
end)

body("interface", 688, 688, function(bytes, tree)
    bytes:add(tree, f.readiness, 4)
    return bytes:word(4) == 1 and "ready" or "not ready"
end)

body("command", 97, 1008, function(bytes, tree)
    bytes:add(tree, f.command_length, 0)
    bytes:add(tree, f.modem_timeout, 8)
    bytes:add(tree, f.markers, 12)
    bytes:add_text(tree, f.marker, 16, 16)
    bytes:add_text(tree, f.marker, 32, 16)
    bytes:add_text(tree, f.marker, 48, 48)
    local length = bytes:word(0)
    if length == 0 or length > bytes.length - 96 or bytes.range(96 + length - 1, 1):uint() ~= 13 then
        return nil -- malformed
    end
    return "command=" .. bytes:add_text(tree, f.command, 96, length - 1)
end)

-- What comes after the result of an answer; it may be missing, as it is after a refusal.
local answers = {}

for _, name in ipairs({"none", "result", "byte"}) do
    answers[name] = function() return nil end
end

answers.value = function(bytes, tree)
    if bytes.length ~= 4 then
        return nil
    end
    bytes:add(tree, f.value, 0)
    return "value=" .. bytes:word(0)
end

answers.imsi = function(bytes, tree)
    return "imsi=" .. bytes:add_text(tree, f.imsi, 0, bytes.length)
end

answers.at = function(bytes, tree)
    if bytes.length < 8 then
        return nil
    end
    bytes:add(tree, f.at_type, 0)
    bytes:add(tree, f.at_length, 4)
    return "text=" .. bytes:add_text(tree, f.text, 8, bytes.length - 8)
end

answers.operators = function(bytes, tree)
    if bytes.length ~= 404 then
        return nil
    end
    local count = 0
    for at = 4, 364, 40 do
        if bytes:text(at, 16) ~= "" then
            count = count + 1
            bytes:add_text(tree, f.operator, at, 16)
            for number = at + 20, at + 36, 4 do
                bytes:add(tree, f.operator_number, number)
            end
        end
    end
    return "operators=" .. count
end

-- ---- Messages ----

-- The rows are asked one after the other: two functions send some messages, with bodies of their own.
local function show_body(id, bytes, tree)
    for _, row in ipairs(rows_of[id] or {}) do
        local form = bodies[row.body]
        if form.least <= bytes.length and bytes.length <= form.most then
            return form.show(bytes, tree)
        end
    end
    return nil
end

local function show_value(id, bytes, tree)
    for _, row in ipairs(rows_of[id] or {}) do
        local told = answers[row.answer](bytes, tree)
        if told then
            return told
        end
    end
    return nil
end

local function add_rest(tree, bytes)
    if bytes.length > 0 then
        tree:add(f.body, bytes.range(0, bytes.length))
    end
end

local function show_response(id, bytes, tree)
    if bytes.length < 4 then
        add_rest(tree, bytes)
        if bytes.length ~= 1 then -- one function has room for a byte
            tree:add_proto_expert_info(e.layout)
        end
        return ""
    end
    bytes:add(tree, f.result, 0)
    local result = bytes:signed(0)
    local told = "result=" .. result
    if result ~= 0 then
        tree:add_proto_expert_info(e.refused)
    end
    local rest = bytes:from(4)
    if rest.length == 0 then
        return told
    end
    local value = show_value(id, rest, tree)
    if value then
        return told .. " " .. value
    end
    add_rest(tree, rest)
    tree:add_proto_expert_info(e.layout)
    return told
end

local function show_request(id, bytes, tree)
    local told = message_names[id] and show_body(id, bytes, tree)
    if told then
        return told
    end
    add_rest(tree, bytes)
    if message_names[id] then
        tree:add_proto_expert_info(e.layout)
    end
    return ""
end

-- ---- Requests and their responses ---- by the name of who has asked, and its session.

local pending, asked_in, answered_in, asked_at = {}, {}, {}, {}

function proto.init()
    pending, asked_in, answered_in, asked_at = {}, {}, {}, {}
end

local function match(pinfo, kind, session, source, destination)
    if pinfo.visited then
        return
    end
    if kind == TYPE_REQUEST then
        pending[source .. "\0" .. session] = pinfo.number
        asked_at[pinfo.number] = pinfo.abs_ts
    elseif kind == TYPE_RESPONSE then
        local key = destination .. "\0" .. session
        local request = pending[key]
        if request then
            asked_in[pinfo.number] = request
            answered_in[request] = pinfo.number
            pending[key] = nil
        end
    end
end

local function show_match(pinfo, tree)
    local request, response = asked_in[pinfo.number], answered_in[pinfo.number]
    if request then
        tree:add(f.request_in, request):set_generated()
        -- Times are numbers of seconds, which a file has to the microsecond.
        local taken = math.floor(math.max(pinfo.abs_ts - asked_at[request], 0) * 1e6 + 0.5)
        tree:add(f.time, NSTime.new(math.floor(taken / 1e6), taken % 1e6 * 1000)):set_generated()
    end
    if response then
        tree:add(f.response_in, response):set_generated()
    end
end

-- ---- Packets ----

-- The module in the name of an endpoint, with its number and the process, if they are in it.
local function module_of(name)
    local module = name:match("^lc_socket_(.*)_common$")
    if not module then
        return nil
    end
    local shared, pid = module:match("^(.*)_([1-9]%d*)$")
    local numbers = modules[shared or module]
    return (shared or module) .. (numbers and " (" .. table.concat(numbers, ", ") .. ")" or "") ..
           (pid and ", process " .. pid or "")
end

local function show_name(bytes, tree, field, at, size)
    local name = bytes:add_text(tree, field, at, size)
    local module = module_of(name)
    if module then
        tree:add(f.module, bytes.range(at, size), module):set_generated()
    end
    return name
end

local function show_message(bytes, pinfo, tree, source, destination)
    if bytes.length < 16 then
        add_rest(tree, bytes)
        tree:add_proto_expert_info(e.short)
        pinfo.cols.info = "cut message"
        return
    end
    local kind, id, length, session = bytes:word(0), bytes:word(4), bytes:word(8), bytes:word(12)
    local type_item = bytes:add(tree, f.type, 0)
    local message_item = bytes:add(tree, f.message, 4)
    local length_item = bytes:add(tree, f.length, 8)
    bytes:add(tree, f.session, 12)
    match(pinfo, kind, session, source, destination)
    show_match(pinfo, tree)
    local info = (types[kind] or "type " .. kind) .. " " ..
                 (message_names[id] or string.format("0x%08x", id)) .. " session=" .. session
    if not types[kind] then
        type_item:add_proto_expert_info(e.type)
    end
    if not message_names[id] then
        message_item:add_proto_expert_info(e.message)
    end
    local rest = bytes:from(16)
    local told = ""
    if length ~= rest.length then
        length_item:add_proto_expert_info(e.length)
        add_rest(tree, rest)
    elseif kind == TYPE_RESPONSE then
        told = show_response(id, rest, tree)
    else
        told = show_request(id, rest, tree)
    end
    pinfo.cols.info = info .. (told ~= "" and " " .. told or "")
end

function proto.dissector(buffer, pinfo, root)
    pinfo.cols.protocol = "LTEROUTER"
    local size = buffer:len()
    local tree = root:add(proto, buffer())
    if size < 5 or buffer(0, 1):uint() ~= 1 or (buffer(1, 1):uint() ~= 1 and buffer(1, 1):uint() ~= 2) or
       5 + buffer(3, 1):uint() + buffer(4, 1):uint() > size then
        tree:add_proto_expert_info(e.format)
        pinfo.cols.info = "not a packet of this format"
        return size
    end
    local big = buffer(1, 1):uint() == 1
    local bytes = bytes_of(buffer(), size, big)
    local source_length, destination_length = buffer(3, 1):uint(), buffer(4, 1):uint()
    for at, field in ipairs({f.format, f.order, f.flags, f.source_length, f.destination_length}) do
        tree:add(field, buffer(at - 1, 1))
    end
    tree:add(f.masked, buffer(2, 1))
    local source = show_name(bytes, tree, f.source, 5, source_length)
    local destination = show_name(bytes, tree, f.destination, 5 + source_length, destination_length)
    pinfo.cols.src = source
    pinfo.cols.dst = destination
    show_message(bytes:from(5 + source_length + destination_length), pinfo, tree, source, destination)
    return size
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, proto)
