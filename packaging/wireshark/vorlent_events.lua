-- What a radio's driver tells the daemon: one datagram to port 55688 of the loopback for each event.
--
-- A part of vorlent.lua; by itself, as a plugin folder loads it too, it does nothing.
local vorlent, frames = ...
if type(vorlent) ~= "userdata" then
  return
end

local PORT, MESSAGE, DATA, LEAST = 55688, 40, 88, 90
local PROBE, ACTION, SCAN = 44, 59, 69
local STATUS = { [0] = "done", [4] = "aborted", [8] = "result" }  -- of a scan
local event = Proto("vorlent.event", "vorlent driver event")

local function name(of)
  return "vorlent.event." .. of
end
local F = {
  interface = ProtoField.string(name("interface"), "Interface"),
  radio = ProtoField.ether(name("radio"), "Of the radio"),
  type = ProtoField.uint32(name("type"), "Event", base.DEC,
    { [PROBE] = "probe request", [ACTION] = "WLC_E_ACTION_FRAME", [SCAN] = "WLC_E_ESCAN_RESULT" }),
  status = ProtoField.uint32(name("status"), "Status", base.DEC, STATUS),
  data_len = ProtoField.uint32(name("datalen"), "datalen"),
  address = ProtoField.ether(name("address"), "Address of the peer"),
  descriptor = ProtoField.bytes(name("descriptor"), "Receive descriptor, not read"),
  header = ProtoField.bytes(name("scan_header"), "Scan header, not read"),
  record = ProtoField.none(name("record"), "BSS record"),
  length = ProtoField.uint32(name("record.length"), "length"),
  bssid = ProtoField.ether(name("record.bssid"), "BSSID"),
  channel = ProtoField.uint8(name("record.channel"), "Channel, low byte of chanspec"),
  ie_offset = ProtoField.uint16(name("record.ie_offset"), "ie_offset"),
  ie_length = ProtoField.uint32(name("record.ie_length"), "ie_length"),
  fault = ProtoField.string(name("fault"), "Fault"),
}
local E = {
  header = ProtoExpert.new(name("expert.header"), "Not an event: the daemon drops it",
    expert.group.MALFORMED, expert.severity.WARN),
  record = ProtoExpert.new(name("expert.record"), "The record goes beyond the event's data",
    expert.group.MALFORMED, expert.severity.WARN),
}
event.fields, event.experts = F, E

local function complain(tree, kind, text)
  tree:add_proto_expert_info(kind)
  tree:add(F.fault, text):set_generated()
end

-- In the daemon's order; `size` is that of the datagram, of which the capture may hold less.
local function fault_of(view, size)
  if not view:has(0, 30) or view:be16(28) ~= 0x886c then
    return "the ether type is not 0x886c"
  elseif size < LEAST then
    return string.format("%d bytes, the least is %d", size, LEAST)
  elseif view:range(MESSAGE + 20, 4):uint() > size - 16 then
    return "datalen goes beyond the datagram"
  end
  local expected = { { 30, 2, 0x8001, "subtype" }, { 34, 1, 0, "version" }, { 35, 3, 0x001018, "oui" },
    { 38, 2, 1, "usr_subtype" } }
  for _, field in ipairs(expected) do
    if view:range(field[1], field[2]):uint() ~= field[3] then
      return string.format("%s is not 0x%x", field[4], field[3])
    end
  end
  return view:be16(32) < 8 and "length is under 8" or nil
end

-- The scan's record, little-endian as the driver leaves it, and the elements that it points to.
local function add_record(view, root, tree)
  if not view:has(DATA, 12 + 124) then
    return ""
  end
  local record = DATA + 12
  tree:add(F.header, view:range(DATA, 12))
  local branch = tree:add(F.record, view:range(record, view.size - record))
  branch:add_le(F.length, view:range(record + 4, 4))
  branch:add(F.bssid, view:range(record + 8, 6))
  branch:add(F.channel, view:range(record + 72, 1))
  branch:add_le(F.ie_offset, view:range(record + 116, 2))
  branch:add_le(F.ie_length, view:range(record + 120, 4))
  local first = record + view:range(record + 116, 2):le_uint()
  local stop = first + view:range(record + 120, 4):le_uint()
  if stop > view.size then
    complain(branch, E.record, string.format("its elements end %d bytes behind", stop - view.size))
    stop = view.size
  end
  local elements = setmetatable({ tvb = view.tvb, at = 0, size = stop,
    captured_whole = view.captured_whole }, frames.View)
  return string.format(", channel %d", view:u8(record + 72)) ..
    frames.add_elements(elements, root, first, "base", record + 8)
end

local function add_probe(view, root, tree)
  if not view:has(DATA, 16 + 24) then
    return ""
  end
  tree:add(F.descriptor, view:range(DATA, 16))
  return frames.add_elements(view, root, DATA + 40, "unit", DATA + 16 + 10)
end

-- The event's data, and what the row says of it.
local function add_data(view, root, tree, kind, status)
  local data = setmetatable({ tvb = view.tvb, at = 0, captured_whole = view.captured_whole,
    size = math.min(view.size, DATA + view:range(MESSAGE + 20, 4):uint()) }, frames.View)
  if kind == PROBE then
    return "probe request" .. add_probe(data, root, tree)
  elseif kind == SCAN then
    return "scan " .. (STATUS[status] or "status " .. status) .. add_record(data, root, tree)
  elseif kind == ACTION then
    local text = frames.add_action(data, root, DATA, view:range(MESSAGE + 24, 6), view:range(16, 6))
    return text or "action frame of others"
  end
  return "type " .. kind
end

local function add_event(view, pinfo, root, tree)
  local interface = view:range(0, 16):raw():match("^[^%z]*"):gsub("[^%g ]", "?")
  local peer, radio = view:range(MESSAGE + 24, 6), view:range(16, 6)
  tree:add(F.interface, view:range(0, 16), interface)
  tree:add(F.radio, radio)
  tree:add(F.type, view:range(MESSAGE + 4, 4))
  tree:add(F.status, view:range(MESSAGE + 8, 4))
  tree:add(F.data_len, view:range(MESSAGE + 20, 4))
  tree:add(F.address, peer)
  local kind, status = view:range(MESSAGE + 4, 4):uint(), view:range(MESSAGE + 8, 4):uint()
  local text = add_data(view, root, tree, kind, status)
  pinfo.cols.info:set(string.format("event on %s of %s, from %s: %s", interface, tostring(radio:ether()),
    tostring(peer:ether()), text))
end

function event.dissector(tvb, pinfo, root)
  local size = tvb:reported_len()
  local view = setmetatable({ tvb = tvb, at = 0, size = tvb:len(), captured_whole = tvb:len() == size },
    frames.View)
  local tree = root:add(event, tvb())
  local fault = (view.captured_whole or view:has(0, LEAST)) and fault_of(view, size)
  pinfo.cols.protocol:set("vorlent")
  if fault then
    complain(tree, E.header, fault)
    pinfo.cols.info:set("no driver event: " .. fault)
  elseif view:has(0, LEAST) then
    add_event(view, pinfo, root, tree)
  else
    pinfo.cols.info:set("driver event, cut off by the capture")
  end
end

DissectorTable.get("udp.port"):add(PORT, event)
