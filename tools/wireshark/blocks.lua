-- The two bodies: a version, and blocks up to the end.

-- The messages of services that the user named.
local named_services = {}

local function find_message(name)
  for _, candidate in ipairs({name, "lbs." .. name, "terrabase." .. name}) do
    if wire.messages[candidate] then return candidate end
  end
end

function kesu.prefs_changed()
  named_services = {}
  for service, request, reply in kesu.prefs.messages:gmatch("([^%s=]+)=([%w_.]+)/([%w_.]+)") do
    named_services[service] = {request = find_message(request), reply = find_message(reply)}
  end
end

local function messages_of(service)
  return service and (named_services[service] or wire.services[service]) or {}
end

local function show_payload_message(reader, tree, name)
  local item = reader:add(tree, fields.message, reader.place, reader:left(), name)
  return show_message(reader, item, name)
end

local function show_request_payload(reader, tree, service, is_multipart)
  local message = messages_of(service).request
  if message and not is_multipart then return show_payload_message(reader, tree, message) end
  if is_multipart or (reader:left() > 0 and reader:fits(show_http_call, false)) then
    return show_http_call(reader, tree, is_multipart)
  end
  reader:show_bytes(tree, fields.payload)
  return true
end

-- `request` is nil where it was not seen. Then, and with an unknown service, the bytes decide.
local function show_reply_payload(reader, tree, request)
  local message = messages_of(request and request.service).reply
  if message then return show_payload_message(reader, tree, message) end
  if request and request.is_http and reader:fits(show_http_reply) then return show_http_reply(reader, tree) end
  local _, likely = next(wire.services)
  if not request and reader:left() > 0 and reader:fits(show_message, likely.reply) then
    return show_payload_message(reader, tree, likely.reply)
  end
  reader:show_bytes(tree, fields.payload)
  return true
end

local function inflate(reader, tree)
  local budget = reader.budget
  if reader:left() > math.min(budget.inflation, most_of_a_payload) then
    reader:fail(tree, "too_much", "so much is not inflated")
    return nil
  end
  budget.inflation = budget.inflation - reader:left()
  local inflated = reader:left() > 0 and reader.tvb(reader.place, reader:left()):uncompress("Inflated payload")
  if not inflated then
    reader:fail(tree, "bad_encoding", "the payload cannot be inflated")
    return nil
  end
  if inflated:len() == 0 then return reader:part(reader.limit, reader.limit) end
  local inner = new_reader(inflated:tvb(), budget)
  inner:add(tree, fields.inflated, 0, inner:left())
  return inner
end

-- Undoes the encodings, the last one first. Yields a reader of the result, or nil.
local function undo_encodings(reader, tree, encodings)
  if encodings == "" then return reader end
  local names = {}
  for name in (encodings .. ","):gmatch("([^,]*),") do table.insert(names, name) end
  for i = #names, 1, -1 do
    if names[i] == wire.encodings.inflate then
      reader = inflate(reader, tree)
      if not reader then return nil end
    elseif names[i] ~= wire.encodings.none then
      reader:fail(tree, "bad_encoding", "the encoding '" .. printable(names[i]) .. "' is unknown")
      return nil
    end
  end
  return reader
end

local function show_header_block(reader, tree)
  if not reader:show_text(tree, fields.client_version, "client version") then return false end
  local cookie, is_whole = reader:take(tree, "cookie", 8)
  if not is_whole then return false end
  cookie:add(tree, fields.cookie, cookie.place, 8)
  return reader:show_text(tree, fields.configuration, "configuration") and reader:expect_end(tree, "header block")
end

local function show_request_block(reader, tree, is_multipart, exchange)
  local request = {id = reader:show_number(tree, fields.id, "request id", 2)}
  request.service = request.id and reader:show_text(tree, fields.service, "service")
  if not request.service then return false end
  table.insert(exchange.requests, request)
  if tree then tree:append_text(string.format(" %d, %s", request.id, printable(request.service))) end
  if not reader:show_number(tree, fields.service_version, "service version", 2) then return false end
  local payload, is_whole = reader, true
  if not is_multipart then
    local length = reader:show_number(tree, fields.payload_length, "payload length", 4)
    if not length then return false end
    payload, is_whole = reader:take(tree, "payload", length)
  end
  local start = payload.place
  local ok = show_request_payload(payload, tree, request.service, is_multipart)
  request.is_http = is_multipart
    or not messages_of(request.service).request and payload:part(start, payload.limit):fits(show_http_call, false)
  return ok and is_whole and (is_multipart or reader:expect_end(tree, "request block"))
end

local function show_reply_block(reader, tree, exchange)
  local id = reader:show_number(tree, fields.id, "request id", 2)
  local status = id and reader:show_number(tree, fields.status, "status", 2)
  if not status then return false end
  local request = exchange.asked and exchange.asked[id]
  table.insert(exchange.replies, {id = id, status = status})
  if tree then
    tree:append_text(string.format(" %d, status %d", id, status))
    if request then tree:add(fields.service, request.service):set_generated() end
    if exchange.asked and not request then
      reader:wonder(tree, "unasked", string.format("nobody asked for a reply to %d", id))
    end
    if status ~= 200 then reader:wonder(tree, "failed", string.format("request %d failed with status %d", id, status)) end
  end
  local encodings = reader:show_text(tree, fields.encodings, "encodings")
  if not encodings or not reader:show_number(tree, fields.spare, "number without a meaning", 4) then return false end
  local payload = undo_encodings(reader, tree, encodings)
  if payload then return show_reply_payload(payload, tree, request) end
  reader:show_bytes(tree, fields.payload)
  return true
end

-- Yields false where nothing behind the block can be told.
local function show_block(reader, tree, exchange)
  local start = reader.place
  local item = reader:add(tree, fields.block, start, reader:left())
  local length = reader:show_number(item, fields.block_length, "length of a block", 4)
  local kind = length and reader:show_bits(item, fields.block_type, "type of a block", 2)
  if not kind then return false end
  local block, is_whole = reader:take(item, "block", length)
  if item then
    item:set_len(reader.place - start)
    item:set_text(block_names[kind] or string.format("block of type 0x%04X", kind))
  end
  local is_reply = exchange.replies ~= nil
  if block_names[kind] and (is_reply ~= (kind == wire.blocks.reply)
      or not is_reply and (kind == wire.blocks.header) ~= (start == 2)) then
    reader:wonder(item, "misplaced_block", "a " .. block_names[kind] .. " does not belong there")
  end
  if kind == wire.blocks.header then
    show_header_block(block, item)
  elseif kind == wire.blocks.reply then
    show_reply_block(block, item, is_reply and exchange or {replies = {}})
  elseif kind == wire.blocks.request or kind == wire.blocks.multipart then
    show_request_block(block, item, kind == wire.blocks.multipart, exchange.requests and exchange or {requests = {}})
  else
    reader:wonder(item, is_reply and "unknown_block" or "misplaced_block", "a block of this type is not known")
    block:show_bytes(item, fields.rest)
  end
  return is_whole
end

-- A POST's `exchange` collects its requests; that of a reply has `asked`, the requests by their ids where
-- they were seen, and collects the replies.
local function show_body_of(reader, tree, exchange)
  local version = reader:show_number(tree, fields.version, "protocol version", 2)
  if version and version ~= wire.version then
    reader:wonder(tree, "bad_version", string.format("the protocol version is %d, not %d", version, wire.version))
    return
  end
  if version and not exchange.replies and reader:left() == 0 then
    reader:fail(tree, "truncated", "there is no header block")
  end
  while version and reader:left() > 0 and reader:may_go_on(tree) and show_block(reader, tree, exchange) do end
end
