-- HTTP-like requests and replies, which travel as payloads.

local function show_headers(reader, tree)
  local count = reader:show_bits(tree, fields.http_count, "number of headers", 1)
  for _ = 1, count or 0 do
    if not reader:may_go_on(tree) then return false end
    local start = reader.place
    local name = reader:show_text(nil, nil, "header name")
    local value = name and reader:show_text(nil, nil, "header value")
    if not value then return reader:fail(tree, "truncated", "a header is cut short") end
    reader:add(tree, fields.http_header, start, reader.place - start, printable(name) .. ": " .. printable(value))
  end
  return count ~= nil
end

local function show_mime_type(reader, tree)
  local start = reader.place
  local code = reader:number(tree, "MIME type", 2)
  local text = code and reader:show_text(nil, nil, "MIME type")
  if not text then return reader:fail(tree, "truncated", "a MIME type is cut short") end
  local known = wire.mime_types[code]
  if code ~= 0 and not known then
    return reader:fail(tree, "bad_encoding", string.format("the code 0x%04X of a MIME type is unknown", code))
  end
  local separator = known and text ~= "" and ";" or ""
  reader:add(tree, fields.http_type, start, reader.place - start, (known or "") .. separator .. printable(text))
  return true
end

-- An encoding comes only with a body that is not empty, and only where there may be parts.
local function show_body(reader, tree, has_encoding)
  local length = reader:show_number(tree, fields.http_length, "body", 4)
  if not length then return false end
  if has_encoding and length ~= 0 and not reader:show_text(tree, fields.http_encoding, "encoding") then
    return false
  end
  local body, is_whole = reader:take(tree, "body", length)
  body:show_bytes(tree, fields.http_body)
  return is_whole, length
end

local function show_part(reader, tree)
  local item = reader:add(tree, fields.http_part, reader.place, reader:left())
  local start = reader.place
  local ok = show_mime_type(reader, item) and reader:show_text(item, fields.http_content_id, "content id")
    and show_headers(reader, item) and show_body(reader, item, true)
  if item then item:set_len(reader.place - start) end
  return ok
end

local function show_parts(reader, tree, root_length)
  local count = reader:show_bits(tree, fields.http_parts, "number of parts", 2)
  -- There is at least one. A zero is the encoding of a body that is there, but empty.
  if count == 0 and root_length == 0 then
    count = reader:show_bits(tree, fields.http_parts, "number of parts", 2)
  end
  for _ = 1, count or 0 do
    if not reader:may_go_on(tree) or not show_part(reader, tree) then return false end
  end
  return count ~= nil and reader:expect_end(tree, "request")
end

local function show_http_call(reader, tree, has_parts)
  local item = reader:add(tree, fields.http, reader.place, reader:left())
  if not reader:show_text(item, fields.http_method, "method") then return false end
  if not has_parts then
    return show_headers(reader, item) and show_body(reader, item, false) and reader:expect_end(item, "request")
  end
  if not show_mime_type(reader, item) or not reader:show_text(item, fields.http_encoding, "encoding")
    or not show_headers(reader, item) then
    return false
  end
  local is_whole, length = show_body(reader, item, true)
  return is_whole and show_parts(reader, item, length)
end

local function show_http_reply(reader, tree)
  local item = reader:add(tree, fields.http, reader.place, reader:left())
  if not show_headers(reader, item) then return false end
  reader:show_bytes(item, fields.http_body)
  return true
end
