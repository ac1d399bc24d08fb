-- Which bodies of HTTP are ours, and which reply belongs to which POST.

local port = 8642
local request_uri = Field.new("http.request.uri")
local response_code = Field.new("http.response.code")
local response_uri = Field.new("http.response_for.uri")
local request_frame = Field.new("http.request_in")

-- Of each connection, the POSTs in their order; of each body that was seen, by packet and place in it, its
-- exchange.
local posts, seen

function kesu.init() posts, seen = {}, {} end

-- Of the message that is dissected: fields of earlier ones in the packet come first. Nil while no field
-- is wanted by anybody, when there are none.
local function last_value(field)
  local values = {field()}
  return #values > 0 and values[#values].value or nil
end

local function path_of(uri)
  return (uri:gsub("^%a[%w+.-]*://[^/]*", ""):gsub("[?#].*", ""))
end

local function connection_of(pinfo)
  local ends = {tostring(pinfo.src) .. " " .. pinfo.src_port, tostring(pinfo.dst) .. " " .. pinfo.dst_port}
  table.sort(ends)
  return ends[1] .. " " .. ends[2]
end

local function looks_like_post(tvb)
  return tvb:captured_len() >= 8 and tvb(0, 2):uint() == wire.version
    and tvb(6, 2):uint() == wire.blocks.header
end

local function is_post(tvb, pinfo)
  if last_value(response_code) then return false end
  if last_value(request_uri) or pinfo.dst_port == port then return true end
  return pinfo.src_port ~= port and looks_like_post(tvb)
end

local function is_ours(tvb, pinfo, asks)
  if pinfo.src_port == port or pinfo.dst_port == port then return true end
  local uri = last_value(asks and request_uri or response_uri)
  if uri then return path_of(uri) == wire.path end
  if asks then return looks_like_post(tvb) end
  return posts[connection_of(pinfo)] ~= nil
end

-- The POST that the next reply of the connection answers.
local function take_post(pinfo)
  local frame = last_value(request_frame)
  for _, post in ipairs(posts[connection_of(pinfo)] or {}) do
    if not post.reply_frame and (not frame or post.frame == frame) then
      post.reply_frame = pinfo.number
      return post
    end
  end
end

local function new_exchange(pinfo, asks)
  local exchange = {frame = pinfo.number}
  if asks then
    local connection = connection_of(pinfo)
    posts[connection] = posts[connection] or {}
    table.insert(posts[connection], exchange)
    return exchange
  end
  exchange.post = take_post(pinfo)
  if not exchange.post then return exchange end
  exchange.asked = {}
  for _, request in ipairs(exchange.post.requests) do exchange.asked[request.id] = request end
  return exchange
end

-- The same on each pass over the packets.
local function exchange_of(pinfo, asks)
  local place = (tonumber(pinfo.private["kesu"]) or 0) + 1
  pinfo.private["kesu"] = tostring(place)
  local key = pinfo.number .. " " .. place
  seen[key] = seen[key] or new_exchange(pinfo, asks)
  return seen[key]
end

local function show_others(tree, exchange)
  local frame = exchange.reply_frame or exchange.post and exchange.post.frame
  if frame then tree:add(exchange.post and fields.request_in or fields.reply_in, frame):set_generated() end
end

local function tell_unanswered(reader, tree, exchange)
  local answered = {}
  for _, reply in ipairs(exchange.replies) do answered[reply.id] = true end
  for _, request in ipairs(exchange.asked and exchange.post.requests or {}) do
    if not answered[request.id] then
      reader:wonder(tree, "unanswered", string.format("request %d has no reply: it travels once more", request.id))
    end
  end
end

local function summary(exchange)
  local most = 4
  local words = {}
  for i, entry in ipairs(exchange.replies or exchange.requests) do
    if i > most then table.insert(words, "...") break end
    table.insert(words, entry.id .. " " .. (entry.status or printable(entry.service)))
  end
  return (exchange.replies and "reply" or "POST") .. " [" .. table.concat(words, ", ") .. "]"
end

function kesu.dissector(tvb, pinfo, tree)
  local asks = is_post(tvb, pinfo)
  if not is_ours(tvb, pinfo, asks) then return 0 end
  local exchange = exchange_of(pinfo, asks)
  exchange.requests = asks and {} or nil
  exchange.replies = not asks and {} or nil
  local item = tree:add(kesu, tvb())
  local budget = budget_of(pinfo)
  local reader = new_reader(tvb, budget)
  show_others(item, exchange)
  show_body_of(reader, item, exchange)
  if not asks then tell_unanswered(reader, item, exchange) end
  keep_budget(pinfo, budget)
  local text = summary(exchange)
  item:append_text(", " .. text)
  pinfo.cols.protocol = "Kesu"
  pinfo.cols.info:append(" " .. text .. " ")
  return tvb:captured_len()
end

DissectorTable.get("media_type"):add(wire.media_type, kesu)
DissectorTable.get("tcp.port"):add(port, Dissector.get("http-over-tcp"))
