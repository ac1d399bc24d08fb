-- Messages: fields of a key and a value each.

local end_group = 4

-- Yields field number and wire type.
local function read_key(reader)
  local low, _, problem = reader:varint()
  if not low then return nil end
  return math.floor(low / 8) % 65536, low % 8, problem
end

local function read_length(reader)
  local low, high, problem = reader:varint()
  if not low then return nil end
  if high >= 2 ^ 31 then high = high - 2 ^ 32 end
  return high * 2 ^ 32 + low, problem
end

-- As the field holds it, cut where that is narrower than the wire.
local function value_of(kind, low, high)
  if kind == "bool" then return low ~= 0 or high ~= 0 end
  if kind == "uint32" then return low end
  if kind == "int32" or kind == "fixed32" then return low < 2 ^ 31 and low or low - 2 ^ 32 end
  return Int64.new(low, high)
end

local function read_number(reader, wire_type)
  if wire_type == 0 then return reader:varint() end
  return reader:fixed(wire_type == 1 and 8 or 4)
end

local show_message

local function show_known_number(reader, tree, row, start)
  local low, high, problem = read_number(reader, kinds[row.kind].wire)
  if not low then return reader:fail(tree, "truncated", row.name .. " is cut short") end
  local item = reader:add(tree, row.field, start, reader.place - start, value_of(row.kind, low, high))
  if problem then reader:wonder(item, "bad_varint", row.name .. ": ten bytes, and no end; it counts as 0") end
  if item and row.kind == "fixed32" and row.name:find("_e7$") then
    item:append_text(string.format(" (%.7f°)", value_of(row.kind, low) / 1e7))
  end
  return true
end

-- A text or a nested message, behind its length.
local function show_known_run(reader, tree, row, start)
  local length, problem = read_length(reader)
  if not length then return reader:fail(tree, "truncated", "the length of " .. row.name .. " is cut short") end
  if problem then reader:wonder(tree, "bad_varint", "the length of " .. row.name .. ": ten bytes, and no end") end
  local item
  if row.kind == "message" then
    local shown = math.min(math.max(length, 0), reader:left())
    item = reader:add(tree, row.field, start, reader.place + shown - start)
    if item then item:append_text(": " .. row.message) end
  end
  local run, is_whole = reader:take(item or tree, row.name, length)
  if row.kind == "message" then return show_message(run, item, row.message) and is_whole end
  reader:add_text(tree, row.field, run.place, run:left())
  return is_whole
end

local function show_known_group(reader, tree, row, number, start)
  local item = reader:add(tree, row.field, start, reader.place - start)
  if item then item:append_text(": " .. row.message) end
  local ok = show_message(reader, item, row.message, number)
  if item then item:set_len(reader.place - start) end
  return ok
end

local function show_known(reader, tree, row, number, wire_type, start)
  local wanted = kinds[row.kind].wire
  if wire_type ~= wanted then
    reader:wonder(tree, "wrong_wire_type",
      string.format("%s has wire type %d, not %d, and is read as if it had that", row.name, wire_type, wanted))
  end
  if row.kind == "group" then return show_known_group(reader, tree, row, number, start) end
  if wanted == 2 then return show_known_run(reader, tree, row, start) end
  return show_known_number(reader, tree, row, start)
end

-- Moves behind a value of no interest. Yields false where nothing behind it can be told.
local function skip_value(reader, wire_type)
  if wire_type == 0 then return reader:varint() ~= nil end
  if wire_type == 1 or wire_type == 5 then return read_number(reader, wire_type) ~= nil end
  local length = wire_type == 2 and read_length(reader)
  if not length or length < 0 or length > reader:left() then return false end
  reader.place = reader.place + length
  return true
end

-- Moves behind the end of a group. Yields what is wrong with it: the kind of fault, and its text.
local function skip_group(reader, number)
  local open = {number}
  local kind, text
  while #open > 0 do
    if not reader:may_go_on() then return "too_much", "the rest of this packet is not shown" end
    local inner, wire_type = read_key(reader)
    if not inner then return "bad_group_end", "the group has no end" end
    if wire_type == 3 then
      table.insert(open, inner)
      if #open > deepest_group then return "too_deep", "more than " .. deepest_group .. " groups in each other" end
    elseif wire_type == end_group then
      if inner == open[#open] then
        table.remove(open)
      else
        kind = "bad_group_end"
        text = string.format("an end of group %d in group %d is passed over", inner, open[#open])
      end
    elseif not skip_value(reader, wire_type) then
      return "truncated", string.format("field %d in the group is cut short, or has no meaning", inner)
    end
  end
  return kind, text
end

local function show_unknown_group(reader, tree, number, start)
  local kind, text = skip_group(reader, number)
  local is_whole = not kind or text:find("passed over") ~= nil
  if not is_whole then reader.place = reader.limit end
  local item = reader:add(tree, fields.unknown_group, start, reader.place - start)
  if item then item:prepend_text(number .. ": ") end
  if kind then reader:fail(item or tree, kind, text) end
  return is_whole
end

local function show_unknown(reader, tree, number, wire_type, start)
  if wire_type == 3 then return show_unknown_group(reader, tree, number, start) end
  if wire_type > 5 then
    return reader:fail(tree, "bad_wire_type", string.format("field %d has the wire type %d", number, wire_type))
  end
  local item, is_whole, problem = nil, true, nil
  if wire_type == 2 then
    local length
    length, problem = read_length(reader)
    if not length then return reader:fail(tree, "truncated", "the length of field " .. number .. " is cut short") end
    local run
    run, is_whole = reader:take(tree, "field " .. number, length)
    item = reader:add(tree, fields.unknown_bytes, start, run.limit - start)
  else
    local low, high
    low, high, problem = read_number(reader, wire_type)
    if not low then return reader:fail(tree, "truncated", "field " .. number .. " is cut short") end
    item = reader:add(tree, fields.unknown_number, start, reader.place - start, Int64.new(low, high))
  end
  if item then item:append_text(string.format(" (field %d, wire type %d)", number, wire_type)) end
  if problem then reader:wonder(item, "bad_varint", "ten bytes, and no end; it counts as 0") end
  return is_whole
end

-- Shows the fields of a message up to the last byte, or of a group, whose number is given then, up to its
-- end. Yields false where the rest cannot be told.
show_message = function(reader, tree, name, group)
  local message = wire.messages[name]
  while reader:left() > 0 do
    if not reader:may_go_on(tree) then return false end
    local start = reader.place
    local number, wire_type, problem = read_key(reader)
    if not number then return reader:fail(tree, "truncated", "the key of a field of " .. name .. " is cut short") end
    if problem then reader:wonder(tree, "bad_varint", "the key of a field of " .. name .. ": ten bytes, and no end") end
    if wire_type == end_group then
      if number == group then return true end
      reader:wonder(tree, "bad_group_end", group
        and string.format("the end of group %d ends group %d", number, group)
        or "an end of a group where no group is; the rest is ignored")
      if not group then reader:show_bytes(tree, fields.rest) end
      return true
    end
    local row = message[number]
    local ok
    if row then
      ok = show_known(reader, tree, row, number, wire_type, start)
    else
      ok = show_unknown(reader, tree, number, wire_type, start)
    end
    if not ok then return false end
  end
  if group then reader:wonder(tree, "bad_group_end", "the group has no end") end
  return true
end
