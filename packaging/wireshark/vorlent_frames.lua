-- What vorlent's elements and action frames hold, field by field, and what a daemon objects to in them.
--
-- Every read is compared with the end of the bytes first: `View` is the only place that touches them.
-- A part of vorlent.lua; by itself, as a plugin folder loads it too, it does nothing.
local vorlent, links = ...
if type(vorlent) ~= "userdata" then
  return
end

local OUI = "027e91"
local ACTION = "0409" .. OUI  -- how the body of an action frame begins
local ELEMENT_SIZE, DATA_MAX, KEY_MAX, BLOCK, BLOCKS_MAX = 13, 1800, 1023, 256, 4

-- By attr_id. `step` counts the handshake's frames, `stage` is what sender and receiver are at.
local OPERATIONS = {
  [0x1000] = { number = 1000, name = "hello", from = "unit", step = 1,
    stage = "unit at stage 1, awaits 1001; base takes the station to stage 1",
    content = "the unit's vendor element, in clear" },
  [0x1001] = { number = 1001, name = "base key", from = "base", step = 2,
    stage = "base has the station at stage 2; unit goes to stage 3 and answers with 1002",
    content = "the base's RSA public key as PEM text, in clear" },
  [0x1002] = { number = 1002, name = "unit key", from = "unit", step = 3,
    stage = "unit at stage 3, awaits 1004; base takes the station to stage 3, answers, stage 5",
    content = "the unit's vendor element and RSA public key", sealed_for = "base" },
  [0x1004] = { number = 1004, name = "wait", from = "base", step = 4,
    stage = "unit goes to stage 5 and waits up to 15 minutes for 1003", content = "nothing" },
  [0x1003] = { number = 1003, name = "credentials", from = "base", step = 5,
    stage = "unit stores them and becomes a temporary satellite; base forgets the station",
    content = "the backhaul's SSID, pass phrase, cipher and key management", sealed_for = "unit" },
}
local OPERATION_NAMES, ROLES = {}, { [1] = "base", [2] = "un-configured unit" }
for id, operation in pairs(OPERATIONS) do
  OPERATION_NAMES[id] = operation.number .. " " .. operation.name
end

local F = {
  unit = ProtoField.ether("vorlent.unit", "Unit"),
  base = ProtoField.ether("vorlent.base", "Base"),
  id = ProtoField.uint8("vorlent.ie.id", "id", base.HEX),
  len = ProtoField.uint8("vorlent.ie.len", "len"),
  oui = ProtoField.bytes("vorlent.ie.oui", "oui", base.COLON),
  reserved = ProtoField.bytes("vorlent.ie.reserved", "reserved", base.COLON),
  version = ProtoField.uint8("vorlent.ie.version", "version"),
  prod_type = ProtoField.uint8("vorlent.ie.prod_type", "prod_type"),
  prod_id = ProtoField.uint8("vorlent.ie.prod_id", "prod_id", base.DEC, ROLES),
  ifname = ProtoField.uint8("vorlent.ie.ifname", "ifname"),
  plon_vie_data = ProtoField.uint8("vorlent.ie.plon_vie_data", "plon_vie_data", base.DEC,
    { [1] = "advertised, or in operation 1000", [2] = "inside operation 1002" }),
  attr_id = ProtoField.uint16("vorlent.attr_id", "attr_id", base.HEX, OPERATION_NAMES),
  op = ProtoField.uint16("vorlent.op", "Operation"),
  name = ProtoField.string("vorlent.name", "Name"),
  from = ProtoField.string("vorlent.from", "From"),
  step = ProtoField.uint8("vorlent.step", "Step of 5"),
  stage = ProtoField.string("vorlent.stage", "Stage"),
  content = ProtoField.string("vorlent.content", "Content"),
  data_len = ProtoField.uint16("vorlent.data_len", "data_len"),
  data = ProtoField.bytes("vorlent.data", "data"),
  key = ProtoField.string("vorlent.key", "Base's public key"),
  sealed_for = ProtoField.string("vorlent.encrypted_for", "Encrypted for"),
  blocks = ProtoField.uint16("vorlent.blocks", "RSA blocks of 256 bytes"),
  block = ProtoField.bytes("vorlent.block", "Block"),
  trailing = ProtoField.bytes("vorlent.trailing", "Bytes behind the data, ignored"),
  fault = ProtoField.string("vorlent.fault", "Fault"),
  answer_to = ProtoField.framenum("vorlent.answer_to", "Answer to", base.NONE, frametype.REQUEST),
  answered_in = ProtoField.framenum("vorlent.answered_in", "Answered in", base.NONE, frametype.RESPONSE),
  resent = ProtoField.framenum("vorlent.resent", "Sent before, the same in", base.NONE,
    frametype.RETRANS_PREV),
}

local function expert_of(name, text, group, severity)
  return ProtoExpert.new("vorlent.expert." .. name, text, expert.group[group], expert.severity[severity])
end
local E = {
  cut = expert_of("cut", "The frame ends too early", "MALFORMED", "ERROR"),
  snaplen = expert_of("capture_cut", "The capture does not hold the whole frame", "UNDECODED", "NOTE"),
  length = expert_of("data_len", "data_len is not possible", "MALFORMED", "ERROR"),
  blocks = expert_of("blocks", "The ciphertext is not whole RSA blocks", "MALFORMED", "ERROR"),
  empty = expert_of("empty", "The sender had no key", "PROTOCOL", "ERROR"),
  key = expert_of("key", "The key is not usable", "MALFORMED", "ERROR"),
  element = expert_of("element", "The element is not accepted", "PROTOCOL", "WARN"),
  id = expert_of("element_id", "The element is not a vendor's, and taken all the same", "PROTOCOL", "NOTE"),
  short = expert_of("short", "The element is short", "MALFORMED", "WARN"),
  operation = expert_of("operation", "Unknown operation", "UNDECODED", "WARN"),
  trailing = expert_of("trailing", "Bytes that nobody reads", "PROTOCOL", "CHAT"),
}

-- The bytes of one 802.11 frame: `at` is where it begins in the packet, `size` what it holds.
local View = {}
View.__index = View

function View:has(offset, count)
  return offset + count <= self.size
end

-- The range of `count` bytes; the caller has asked has().
function View:range(offset, count)
  return self.tvb(self.at + offset, count)
end

function View:u8(offset)
  return self:range(offset, 1):uint()
end

function View:be16(offset)
  return self:range(offset, 2):uint()
end

function View:hex(offset, count)
  return self:has(offset, count) and self:range(offset, count):bytes():tohex(true) or ""
end

-- The expert's own text has no numbers, so that Wireshark groups by it; the fault's text has them.
local function complain(tree, kind, text)
  tree:add_proto_expert_info(kind)
  tree:add(F.fault, text):set_generated()
end

-- Says that bytes are missing: by the sender's fault, or because the capture was cut.
local function say_cut(view, tree, what)
  if view.captured_whole then
    complain(tree, E.cut, what .. " is cut off: the receiver drops the frame")
  else
    tree:add_proto_expert_info(E.snaplen)
  end
end

local ELEMENT_FIELDS = {
  { "id", 0, 1 }, { "len", 1, 1 }, { "oui", 2, 3 }, { "reserved", 5, 3 }, { "version", 8, 1 },
  { "prod_type", 9, 1 }, { "prod_id", 10, 1 }, { "ifname", 11, 1 }, { "plon_vie_data", 12, 1 },
}

-- The element of `size` bytes at `offset`, as it should look from a `sender` ("base" or "unit").
local function add_element(view, tree, offset, size, sender)
  local shown = math.min(size, ELEMENT_SIZE)
  local branch = tree:add(vorlent, view:range(offset, size), "Vendor element, as of a " .. sender)
  for _, field in ipairs(ELEMENT_FIELDS) do
    local name, at, width = field[1], field[2], field[3]
    if at + width <= shown then
      branch:add(F[name], view:range(offset + at, width))
    end
  end
  if shown < ELEMENT_SIZE then
    complain(branch, E.short,
      string.format("%d bytes instead of %d: the missing ones count as zero", shown, ELEMENT_SIZE))
  end
  local expected = { { "id", 0, 0xdd }, { "prod_type", 9, 8 },
    { "prod_id", 10, sender == "base" and 1 or 2 }, { "plon_vie_data", 12, 1 } }
  if shown >= 5 and view:hex(offset + 2, 3) ~= OUI then
    complain(branch, E.element, "The OUI is not 02:7e:91: the element is refused")
  end
  for _, field in ipairs(expected) do
    local got = field[2] < shown and view:u8(offset + field[2]) or 0
    if got ~= field[3] then
      complain(branch, field[1] == "id" and E.id or E.element, string.format("%s is %d where a %s has %d",
        field[1], got, sender, field[3]))
    end
  end
  return branch
end

-- Walks the elements of a beacon, probe response or probe request and adds vorlent's.
local function add_elements(view, root, offset, sender, mac_at)
  local found = ""
  while view:has(offset, 2) do
    local size = 2 + view:u8(offset + 1)
    local whole = view:has(offset, size)
    -- A base takes the OUI under any element id; elsewhere only vendor elements count.
    if view:hex(offset + 2, 3) == OUI and (sender == "unit" or view:u8(offset) == 0xdd) then
      local tree = root:add(vorlent, view:range(offset, whole and size or view.size - offset))
      tree:add(F[sender], view:range(mac_at, 6))
      if whole then
        add_element(view, tree, offset, size, sender)
      else
        say_cut(view, tree, "The element")
      end
      found = found .. ", vorlent element of a " .. sender
    end
    offset = offset + size
  end
  return found
end

local function add_key(view, tree, offset, length)
  tree:add(F.key, view:range(offset, length))
  local text = view:range(offset, length):raw()
  if not (text:find("-----BEGIN PUBLIC KEY-----", 1, true) and
          text:find("-----END PUBLIC KEY-----", 1, true)) then
    complain(tree, E.key, "No PEM public key: the unit cannot encrypt for this base")
  elseif length > KEY_MAX then
    complain(tree, E.key, string.format("%d bytes: a unit drops more than %d", length, KEY_MAX))
  end
end

local function add_ciphertext(view, tree, operation, offset, length)
  tree:add(F.sealed_for, "the " .. operation.sealed_for .. ", with its RSA key of 2048 bits, no padding")
  local blocks = math.ceil(length / BLOCK)
  tree:add(F.blocks, blocks)
  for i = 0, blocks - 1 do
    tree:add(F.block, view:range(offset + i * BLOCK, math.min(BLOCK, length - i * BLOCK)))
  end
  if length % BLOCK ~= 0 then
    complain(tree, E.blocks, string.format("%d bytes are no multiple of %d", length, BLOCK))
  end
  if blocks > BLOCKS_MAX then
    complain(tree, E.length, string.format("%d blocks: a receiver drops more than %d", blocks,
      BLOCKS_MAX))
  end
end

local function add_data(view, tree, operation, offset, length)
  if length > 0 then
    tree:add(F.data, view:range(offset, length))
  end
  if operation.number == 1004 then
    if length > 0 then
      tree:add_proto_expert_info(E.trailing)
    end
  elseif operation.number == 1000 then
    if length > 0 then
      add_element(view, tree, offset, length, "unit")
    else
      complain(tree, E.short, "No element at all: the base refuses it")
    end
  elseif length == 0 then
    complain(tree, E.empty, "No data: the " .. operation.from .. " had no key that it could " ..
      (operation.sealed_for and "encrypt with" or "read from its file"))
  elseif operation.sealed_for then
    add_ciphertext(view, tree, operation, offset, length)
  else
    add_key(view, tree, offset, length)
  end
end

-- data_len and what follows; `body` is where the frame's body begins.
local function add_payload(view, tree, operation, body)
  if view.size == body + 7 and view.captured_whole then
    if operation.number ~= 1004 then
      complain(tree, E.cut, "Ends behind attr_id: its data_len counts as 0")
      add_data(view, tree, operation, body + 7, 0)
    end
    return 0
  end
  if not view:has(body + 7, 2) then
    say_cut(view, tree, "data_len")
    return 0
  end
  local length = view:be16(body + 7)
  tree:add(F.data_len, view:range(body + 7, 2))
  if length > DATA_MAX then
    complain(tree, E.length, string.format("data_len %d: a receiver drops more than %d", length,
      DATA_MAX))
  end
  if not view:has(body + 9, length) then
    local held = view.size - body - 9
    if view.captured_whole then
      complain(tree, E.length,
        string.format("data_len %d, and the frame holds %d bytes: the receiver drops it", length, held))
    end
    say_cut(view, tree, "The data")
    return length
  end
  add_data(view, tree, operation, body + 9, length)
  if view.size > body + 9 + length then
    tree:add(F.trailing, view:range(body + 9 + length, view.size - body - 9 - length))
    tree:add_proto_expert_info(E.trailing)
  end
  return length
end

-- Which frame this one answers, which answers it, and which was the same before.
local function add_links(tree, number)
  local known = links.of(number)
  for _, name in ipairs({ "answer_to", "answered_in", "resent" }) do
    if known[name] then
      tree:add(F[name], known[name]):set_generated()
    end
  end
  return known.resent and ", sent before" or ""
end

-- Notes an action frame of the air, which others answer.
local function note(view, body, from, to, pinfo)
  local operation = view:has(body + 5, 2) and OPERATIONS[view:be16(body + 5)]
  if operation then
    local length = view:has(body + 7, 2) and view:be16(body + 7) or 0
    links.note(pinfo, operation, tostring(from), tostring(to), view:hex(body + 7, 2 + length))
  end
end

-- `from` and `to` are ranges of the addresses; `number` is the packet's where it was noted.
local function add_action(view, root, body, from, to, number)
  if view:hex(body, 5) ~= ACTION then
    return nil
  end
  local tree = root:add(vorlent, view:range(body, view.size - body))
  if not view:has(body + 5, 2) then
    say_cut(view, tree, "attr_id")
    return "vorlent: cut off"
  end
  local id = view:be16(body + 5)
  tree:add(F.attr_id, view:range(body + 5, 2))
  local operation = OPERATIONS[id]
  if operation == nil then
    complain(tree, E.operation, string.format("attr_id 0x%04x: nobody serves it", id))
    return string.format("vorlent: unknown operation, attr_id 0x%04x", id)
  end
  local receiver = operation.from == "unit" and "base" or "unit"
  tree:append_text(string.format(", operation %d, %s", operation.number, operation.name))
  tree:add(F[operation.from], from)
  tree:add(F[receiver], to)
  for _, name in ipairs({ "op", "name", "from", "step", "stage", "content" }) do
    tree:add(F[name], name == "op" and operation.number or operation[name]):set_generated()
  end
  local again = number and add_links(tree, number) or ""
  local length = add_payload(view, tree, operation, body)
  return string.format("vorlent %d %s, %s to %s, %d bytes%s", operation.number, operation.name,
    operation.from, receiver, length, again)
end

return { fields = F, experts = E, ACTION = ACTION, View = View, note = note,
  add_elements = add_elements, add_action = add_action }
