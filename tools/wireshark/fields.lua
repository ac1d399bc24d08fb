-- What filters name.

-- The file may be installed, and given as well.
local is_first, kesu = pcall(Proto, "kesu", "Kesu")
if not is_first then return end

local kinds = {
  int32 = {wire = 0, field = ProtoField.int32},
  int64 = {wire = 0, field = ProtoField.int64},
  uint32 = {wire = 0, field = ProtoField.uint32},
  bool = {wire = 0, field = ProtoField.bool},
  fixed32 = {wire = 5, field = ProtoField.int32},
  fixed64 = {wire = 1, field = ProtoField.int64},
  string = {wire = 2, field = ProtoField.string},
  message = {wire = 2, field = ProtoField.none},
  group = {wire = 3, field = ProtoField.none},
}

local block_names = {
  [wire.blocks.header] = "header block",
  [wire.blocks.request] = "request block",
  [wire.blocks.multipart] = "multipart request block",
  [wire.blocks.reply] = "reply block",
}

local fields = {
  version = ProtoField.int16("kesu.version", "Protocol version"),
  block = ProtoField.none("kesu.block", "Block"),
  block_length = ProtoField.int32("kesu.block.length", "Length"),
  block_type = ProtoField.uint16("kesu.block.type", "Type", base.HEX, block_names),
  client_version = ProtoField.string("kesu.client_version", "Client version"),
  cookie = ProtoField.int64("kesu.cookie", "Cookie"),
  configuration = ProtoField.string("kesu.configuration", "Configuration"),
  id = ProtoField.int16("kesu.request.id", "Request id"),
  service = ProtoField.string("kesu.service", "Service"),
  service_version = ProtoField.int16("kesu.service_version", "Service version"),
  status = ProtoField.int16("kesu.status", "Status"),
  encodings = ProtoField.string("kesu.encodings", "Encodings"),
  spare = ProtoField.int32("kesu.spare", "Without a meaning"),
  payload_length = ProtoField.int32("kesu.payload.length", "Payload length"),
  payload = ProtoField.bytes("kesu.payload", "Payload"),
  inflated = ProtoField.bytes("kesu.payload.inflated", "Inflated payload"),
  message = ProtoField.string("kesu.message", "Message"),
  rest = ProtoField.bytes("kesu.rest", "Ignored"),
  unknown_number = ProtoField.int64("kesu.unknown.number", "Unknown field"),
  unknown_bytes = ProtoField.bytes("kesu.unknown.bytes", "Unknown field"),
  unknown_group = ProtoField.bytes("kesu.unknown.group", "Unknown group"),
  http = ProtoField.none("kesu.http", "HTTP-like request or reply"),
  http_method = ProtoField.string("kesu.http.method", "Method"),
  http_type = ProtoField.string("kesu.http.mime_type", "MIME type"),
  http_encoding = ProtoField.string("kesu.http.encoding", "Encoding"),
  http_count = ProtoField.uint8("kesu.http.headers", "Number of headers"),
  http_header = ProtoField.string("kesu.http.header", "Header"),
  http_length = ProtoField.int32("kesu.http.body.length", "Body length"),
  http_body = ProtoField.bytes("kesu.http.body", "Body"),
  http_parts = ProtoField.uint16("kesu.http.parts", "Number of parts"),
  http_part = ProtoField.none("kesu.http.part", "Part"),
  http_content_id = ProtoField.string("kesu.http.content_id", "Content id"),
  request_in = ProtoField.framenum("kesu.request_in", "Asked in", base.NONE, frametype.REQUEST),
  reply_in = ProtoField.framenum("kesu.reply_in", "Answered in", base.NONE, frametype.RESPONSE),
}

-- And one for each field of each message.
local all_fields = {}
for message_name, message in pairs(wire.messages) do
  for _, row in pairs(message) do
    row.field = kinds[row.kind].field("kesu." .. message_name .. "." .. row.name, row.name)
    table.insert(all_fields, row.field)
  end
end
for _, field in pairs(fields) do table.insert(all_fields, field) end
kesu.fields = all_fields

local function error_expert(name, text)
  return ProtoExpert.new("kesu." .. name, text, expert.group.MALFORMED, expert.severity.ERROR)
end

local function expert_of(name, text, severity)
  return ProtoExpert.new("kesu." .. name, text, expert.group.PROTOCOL, severity)
end

local experts = {
  truncated = error_expert("truncated", "Cut short"),
  excess = error_expert("excess", "More bytes than fields"),
  bad_version = error_expert("bad_version", "Another protocol version"),
  bad_varint = error_expert("bad_varint", "A varint without an end"),
  bad_wire_type = error_expert("bad_wire_type", "A wire type that means nothing"),
  bad_group_end = error_expert("bad_group_end", "The wrong end of a group, or none"),
  bad_encoding = error_expert("bad_encoding", "Encodings that cannot be undone"),
  too_deep = error_expert("too_deep", "Groups nested too deeply"),
  misplaced_block = error_expert("misplaced_block", "A block that does not belong there"),
  wrong_wire_type = expert_of("wrong_wire_type", "Another wire type", expert.severity.WARN),
  unknown_block = expert_of("unknown_block", "A block of an unknown type", expert.severity.WARN),
  unasked = expert_of("unasked", "A reply that nobody asked for", expert.severity.WARN),
  unanswered = expert_of("unanswered", "A request without a reply", expert.severity.WARN),
  not_captured = expert_of("not_captured", "Not captured", expert.severity.NOTE),
  failed = expert_of("failed", "A request that failed", expert.severity.NOTE),
  too_much = expert_of("too_much", "More than is shown", expert.severity.NOTE),
}
local expert_list = {}
for _, item in pairs(experts) do table.insert(expert_list, item) end
kesu.experts = expert_list

kesu.prefs.messages = Pref.string("Messages of other services", "",
  "SERVICE=REQUEST/REPLY, separated by blanks, as in my/service=LocQueryRequest/LocQueryReply")
