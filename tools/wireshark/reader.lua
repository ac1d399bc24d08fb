-- Bytes, what is shown of them, and what is wrong with them.

-- Of one packet; beyond, dissecting takes memory and time that the packet does not deserve.
local most_items = 100000
local items_of_expert = 4
local most_to_inflate = 64 * 1024
-- Of one payload: inflating what was made to grow takes time with its square.
local most_of_a_payload = 8 * 1024
-- Of groups that are unknown; messages that are known are nested a few deep.
local deepest_group = 64

-- What is left of those to the bodies of a packet.
local function budget_of(pinfo)
  return {items = tonumber(pinfo.private["kesu.items"]) or most_items,
          inflation = tonumber(pinfo.private["kesu.inflation"]) or most_to_inflate}
end

local function keep_budget(pinfo, budget)
  pinfo.private["kesu.items"] = tostring(budget.items)
  pinfo.private["kesu.inflation"] = tostring(budget.inflation)
end

-- Bytes from `place` up to `limit`, offsets into a tvb. Without a tree to add to, all that reading them
-- yields is the number of faults, which readers of parts count together.
local Reader = {}
Reader.__index = Reader

local function new_reader(tvb, budget)
  local length = tvb:captured_len()
  return setmetatable({tvb = tvb, bytes = length > 0 and tvb:raw(0, length) or "", place = 0, limit = length,
                       missing = tvb:reported_len() - length, budget = budget, faults = {count = 0}}, Reader)
end

function Reader:part(first, limit)
  return setmetatable({tvb = self.tvb, bytes = self.bytes, place = first, limit = limit, missing = self.missing,
                       budget = self.budget, faults = self.faults}, Reader)
end

function Reader:left() return self.limit - self.place end

-- Whether reading the bytes with `show` finds nothing wrong.
function Reader:fits(show, ...)
  local trial = self:part(self.place, self.limit)
  trial.faults = {count = 0}
  return show(trial, nil, ...) and trial.faults.count == 0 and trial:left() == 0
end

function Reader:text(offset, length) return self.bytes:sub(offset + 1, offset + length) end

-- Yields the item, or nil without a tree. A value that is not given is read from the bytes.
function Reader:add(tree, field, offset, length, ...)
  if not tree then return nil end
  self.budget.items = self.budget.items - 1
  return tree:add(field, self.tvb(offset, length), ...)
end

-- Text of the peer's, in whatever UTF-8.
function Reader:add_text(tree, field, offset, length)
  if not tree then return nil end
  if length == 0 then return self:add(tree, field, offset, length, "") end
  self.budget.items = self.budget.items - 1
  return (tree:add_packet_field(field, self.tvb(offset, length), ENC_UTF_8))
end

function Reader:wonder(tree, kind, text)
  self.faults.count = self.faults.count + 1
  if not tree then return end
  self.budget.items = self.budget.items - items_of_expert
  tree:add_proto_expert_info(experts[kind], text)
end

-- Yields false, so that a reader can end with it.
function Reader:fail(tree, kind, text)
  if kind == "truncated" and self.missing > 0 then
    kind, text = "not_captured", text .. string.format("; %d bytes were not captured", self.missing)
  end
  self:wonder(tree, kind, text)
  return false
end

-- False when enough of the packet is shown. A step where nothing is shown counts as well.
function Reader:may_go_on(tree)
  if self.budget.items > 0 then
    if not tree then self.budget.items = self.budget.items - 1 end
    return true
  end
  if tree and not self.budget.is_told then
    self:wonder(tree, "too_much", "the rest of this packet is not shown")
    self.budget.is_told = true
  end
  return false
end

-- A big-endian number of 1, 2 or 4 bytes; nil, and `name` is wrong, when they are not there.
function Reader:number(tree, name, width)
  if self:left() < width then
    self:fail(tree, "truncated", string.format("%s: %d bytes wanted, %d left", name, width, self:left()))
    return nil
  end
  local value = 0
  for _ = 1, width do
    value = value * 256 + self.bytes:byte(self.place + 1)
    self.place = self.place + 1
  end
  return value
end

local function signed(value, width)
  local range = 256 ^ width
  return value < range / 2 and value or value - range
end

function Reader:show_number(tree, field, name, width)
  local start = self.place
  local value = self:number(tree, name, width)
  if value then self:add(tree, field, start, width, signed(value, width)) end
  return value and signed(value, width)
end

-- As show_number, for fields that take the bytes as they are.
function Reader:show_bits(tree, field, name, width)
  local start = self.place
  local value = self:number(tree, name, width)
  if value then self:add(tree, field, start, width) end
  return value
end

-- A reader of the next bytes, and whether there are as many as said.
function Reader:take(tree, name, length)
  local there = math.max(0, math.min(length, self:left()))
  local taken = self:part(self.place, self.place + there)
  self.place = self.place + there
  if there == length then return taken, true end
  self:fail(tree, "truncated", string.format("%s: the length is %.0f, but there are %d bytes", name, length, there))
  return taken, false
end

-- A text behind its length of 16 bits; nil when it is not whole.
function Reader:show_text(tree, field, name)
  local length = self:number(tree, name, 2)
  if not length then return nil end
  local text, is_whole = self:take(tree, name, length)
  self:add_text(tree, field, text.place, text:left())
  return is_whole and self:text(text.place, text:left()) or nil
end

function Reader:show_bytes(tree, field)
  if self:left() > 0 then self:add(tree, field, self.place, self:left()) end
  self.place = self.limit
end

function Reader:expect_end(tree, name)
  if self:left() == 0 then return true end
  self:fail(tree, "excess", string.format("%s: %d bytes more than its fields", name, self:left()))
  self:show_bytes(tree, fields.rest)
  return false
end

-- Two numbers of 32 bits, the lower first; nil where the bytes end. What has no end after ten bytes is
-- zero, and so it is for the library.
function Reader:varint()
  local low, high = 0, 0
  for count = 0, 9 do
    if self:left() == 0 then return nil end
    local byte = self.bytes:byte(self.place + 1)
    local bits = byte % 128
    self.place = self.place + 1
    if count < 4 then
      low = low + bits * 2 ^ (7 * count)
    elseif count == 4 then
      low, high = low + bits % 16 * 2 ^ 28, math.floor(bits / 16)
    elseif count < 9 then
      high = high + bits * 2 ^ (7 * count - 32)
    else
      high = high + bits % 2 * 2 ^ 31
    end
    if byte < 128 then return low, high end
  end
  return 0, 0, "endless"
end

-- A little-endian number, as varint() yields it.
function Reader:fixed(width)
  if self:left() < width then return nil end
  local words = {0, 0}
  for i = 0, width - 1 do
    local word = math.floor(i / 4) + 1
    words[word] = words[word] + self.bytes:byte(self.place + i + 1) * 256 ^ (i % 4)
  end
  self.place = self.place + width
  return words[1], words[2]
end

-- Of the peer's text, what is safe anywhere.
local function printable(text)
  local short = text:sub(1, 40):gsub("[^\32-\126]", ".")
  return #text > 40 and short .. "..." or short
end
