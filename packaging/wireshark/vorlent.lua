-- Wireshark and tshark: the vendor element and the handshake by which vorlent brings a unit into a mesh.
--
-- A postdissector, since Wireshark asks no vendor table for a public action frame of a vendor
-- (category 4, action 9) and reads what follows the OUI as tagged parameters. It takes the frame
-- where the 802.11 header begins and reads the bytes itself. "Malformed packet" from the 802.11
-- dissector on such frames is that misreading, not a fault of the frame: what a vorlent daemon would
-- object to stands in vorlent's own tree, as vorlent.fault and as expert information.
--
-- Useful filters: vorlent.unit == 02:a7:00:00:00:01 (all of one unit's way in), vorlent.op == 1002,
-- vorlent.ie.prod_id == 1 (a base with an open window), vorlent.fault (something is wrong).
--
-- Every read is compared with the end of the frame first: `View` is the only place that touches
-- bytes. Load by `-X lua_script:vorlent.lua` or from a plugin folder; a second copy does nothing.
local is_first, vorlent = pcall(Proto, "vorlent", "vorlent onboarding")
if not is_first then
  return
end

local OUI = "027e91"
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
}
vorlent.fields = F

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
  short = expert_of("short", "The element is short", "MALFORMED", "WARN"),
  operation = expert_of("operation", "Unknown operation", "UNDECODED", "WARN"),
  trailing = expert_of("trailing", "Bytes that nobody reads", "PROTOCOL", "CHAT"),
}
vorlent.experts = E

local frame_control = Field.new("wlan.fc")
local frame_check = Field.new("wlan.fcs")

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

local function complain(tree, kind, text)
  tree:add_proto_expert_info(kind, text)
  tree:add(F.fault, text):set_generated()
end

-- Says that bytes are missing: by the sender's fault, or because the capture was cut.
local function say_cut(view, tree, what)
  if view.captured_whole then
    complain(tree, E.cut, what .. " is cut off: the receiver drops the frame")
  else
    tree:add_proto_expert_info(E.snaplen, what .. " is not in the capture")
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
      complain(branch, E.element, string.format("%s is %d where a %s has %d: %s", field[1],
        got, sender, field[3], field[1] == "id" and "no vendor element, taken all the same" or "the element is refused"))
    end
  end
  return branch
end

-- Walks the elements of a beacon, probe response or probe request and adds vorlent's.
local function add_elements(view, root, offset, sender, mac_at, info)
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
      info(", vorlent element of a " .. sender)
    end
    offset = offset + size
  end
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
      tree:add_proto_expert_info(E.trailing, "Operation 1004 carries no data; nobody reads it")
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
    tree:add_proto_expert_info(E.trailing, "Bytes behind the data: allowed and ignored")
  end
  return length
end

local function add_action(view, root, body, info)
  if view:hex(body, 5) ~= "0409" .. OUI then
    return
  end
  local tree = root:add(vorlent, view:range(body, view.size - body))
  if not view:has(body + 5, 2) then
    say_cut(view, tree, "attr_id")
    info("vorlent: cut off")
    return
  end
  local id = view:be16(body + 5)
  tree:add(F.attr_id, view:range(body + 5, 2))
  local operation = OPERATIONS[id]
  if operation == nil then
    complain(tree, E.operation, string.format("attr_id 0x%04x: nobody serves it", id))
    info(string.format("vorlent: unknown operation, attr_id 0x%04x", id))
    return
  end
  local to = operation.from == "unit" and "base" or "unit"
  tree:append_text(string.format(", operation %d, %s", operation.number, operation.name))
  tree:add(F[operation.from], view:range(10, 6))
  tree:add(F[to], view:range(4, 6))
  for _, name in ipairs({ "op", "name", "from", "step", "stage", "content" }) do
    tree:add(F[name], name == "op" and operation.number or operation[name]):set_generated()
  end
  local length = add_payload(view, tree, operation, body)
  info(string.format("vorlent %d %s, %s to %s, %d bytes", operation.number, operation.name,
    operation.from, to, length))
end

-- By the frame control's first byte: what the frame is, and where its elements begin.
local HEADER, FIXED = 24, 12
local ELEMENTS = {
  [0x80] = { sender = "base", at = HEADER + FIXED, mac = 10 },  -- beacon
  [0x50] = { sender = "base", at = HEADER + FIXED, mac = 10 },  -- probe response
  [0x40] = { sender = "unit", at = HEADER, mac = 10 },          -- probe request
}
local ACTION, ACTION_NO_ACK = 0xd0, 0xe0
local PROTECTED, ORDER, MORE_FRAGMENTS = 0x40, 0x80, 0x04

local function dissect_frame(view, pinfo, root)
  if not view:has(0, HEADER) then
    return
  end
  local kind, flags = view:u8(0), view:u8(1)
  if bit.band(flags, PROTECTED + MORE_FRAGMENTS) ~= 0 or view:u8(22) % 16 ~= 0 then
    return  -- not readable, or a part of something
  end
  local more = bit.band(flags, ORDER) ~= 0 and 4 or 0  -- HT control
  local place = ELEMENTS[kind]
  if place ~= nil then
    add_elements(view, root, place.at + more, place.sender, place.mac, function(text)
      pinfo.cols.info:append(text)
    end)
  elseif kind == ACTION or kind == ACTION_NO_ACK then
    add_action(view, root, HEADER + more, function(text)
      pinfo.cols.protocol:set("vorlent")
      pinfo.cols.info:set(text)
    end)
  end
end

function vorlent.dissector(tvb, pinfo, root)
  local check = frame_check()
  for _, control in ipairs({ frame_control() }) do
    local at, stop = control.offset, tvb:len()
    if check ~= nil and check.offset > at and check.offset < stop then
      stop = check.offset
    end
    -- A header that lies in reassembled or decrypted bytes is not the packet's own.
    if at + 2 <= stop and control.range:bytes() == tvb(at, control.len):bytes() then
      local view = setmetatable({ tvb = tvb, at = at, size = stop - at,
        captured_whole = tvb:len() == tvb:reported_len() }, View)
      dissect_frame(view, pinfo, root)
    end
  end
end

register_postdissector(vorlent)
