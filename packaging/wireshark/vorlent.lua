-- Wireshark and tshark: the vendor element and the handshake by which vorlent brings a unit into a mesh,
-- on the air and in what the drivers tell the daemons.
--
-- A postdissector, since Wireshark asks no vendor table for a public action frame of a vendor
-- (category 4, action 9) and reads what follows the OUI as tagged parameters. It takes the frame
-- where the 802.11 header begins and reads the bytes itself. So that the misreading does not stand in
-- the capture as "Malformed", such a frame is shown to the 802.11 dissector up to the OUI. Where that
-- would spoil something, a check sum at its end or times reckoned from its length, the dissector gets
-- it whole, and the row says that it misreads it: what a vorlent daemon would object to stands in
-- vorlent's own tree, as vorlent.fault and as expert information.
--
-- Useful filters: vorlent.unit == 02:a7:00:00:00:01 (all of one unit's way in), vorlent.op == 1002,
-- vorlent.op == 1000 && wlan && !vorlent.answered_in (nobody answered), vorlent.resent,
-- vorlent.ie.prod_id == 1 (a base with an open window), vorlent.fault (something is wrong).
--
-- Load by `-X lua_script:vorlent.lua` or from a plugin folder, with its parts vorlent_*.lua beside it;
-- a second copy does nothing.
local is_first, vorlent = pcall(Proto, "vorlent", "vorlent onboarding")
if not is_first then
  return
end

local function part(name, ...)
  local folder = __DIR__ ~= "" and __DIR__ .. "/" or ""
  return assert(loadfile(folder .. "vorlent_" .. name .. ".lua"))(vorlent, ...)
end
local links = part("links")
local frames = part("frames", links)
part("events", frames)
vorlent.fields, vorlent.experts = frames.fields, frames.experts
vorlent.init = links.forget

local frame_control = Field.new("wlan.fc")
local frame_check = Field.new("wlan.fcs")

-- By the frame control's first byte: what the frame is, and where its elements begin.
local HEADER, FIXED = 24, 12
local ELEMENTS = {
  [0x80] = { sender = "base", at = HEADER + FIXED, mac = 10 },  -- beacon
  [0x50] = { sender = "base", at = HEADER + FIXED, mac = 10 },  -- probe response
  [0x40] = { sender = "unit", at = HEADER, mac = 10 },          -- probe request
}
local ACTION, ACTION_NO_ACK = 0xd0, 0xe0
local PROTECTED, ORDER, MORE_FRAGMENTS = 0x40, 0x80, 0x04

-- Where the body of the frame begins; nothing for one that is not readable or a part of something.
local function body_of(view)
  if not view:has(0, HEADER) or bit.band(view:u8(1), PROTECTED + MORE_FRAGMENTS) ~= 0 or
      view:u8(22) % 16 ~= 0 then
    return nil
  end
  return HEADER + (bit.band(view:u8(1), ORDER) ~= 0 and 4 or 0)  -- HT control
end

local function is_action(view)
  return view:u8(0) == ACTION or view:u8(0) == ACTION_NO_ACK
end

local function view_of(tvb, at, size)
  return setmetatable({ tvb = tvb, at = at, size = size,
    captured_whole = tvb:len() == tvb:reported_len() }, frames.View)
end

-- Whether the packet at hand was shown to the 802.11 dissector up to the OUI only.
local is_shown_in_part = false

-- The bits of a radiotap header that tell of a check sum (flags), or of a rate, by which Wireshark
-- reckons the time on the air: rate, MCS, A-MPDU, VHT, time stamp, HE, and that there are more.
local LENGTH_MATTERS = 0x80000000 + 0x00f80000 + 0x00000006

local function behind_radiotap(tvb)
  if tvb:len() < 8 then
    return tvb:len(), true
  end
  return tvb(2, 2):le_uint(), bit.band(tvb(4, 4):le_uint(), LENGTH_MATTERS) ~= 0
end

local function at_once()
  return 0, false
end

-- Takes the place of the dissector of a link type, and calls it. `header` tells where the 802.11
-- header begins, and whether its dissector needs the whole frame. Here links are noted, since
-- nothing behind this is called where a capture is read without a look at its packets.
local function stand_before(name, link_type, header)
  local dissectors = DissectorTable.get("wtap_encap")
  local original = dissectors:get_dissector(link_type)
  local proto = Proto("vorlent." .. name, "vorlent, before " .. name)
  function proto.dissector(tvb, pinfo, root)
    local at, is_whole = header(tvb)
    local view = view_of(tvb, at, tvb:len() - at)
    local body = body_of(view)
    local ours = body and is_action(view) and view:hex(body, 5) == frames.ACTION
    if ours then
      frames.note(view, body, view:range(10, 6), view:range(4, 6), pinfo)
    end
    is_shown_in_part = ours and not is_whole
    -- A malformed frame is shown as such before it becomes an error of Lua's, which nobody needs.
    pcall(original.call, original, is_shown_in_part and tvb(0, at + body + 5):tvb() or tvb, pinfo, root)
    return tvb:len()
  end
  dissectors:add(link_type, proto)
end

stand_before("radiotap", wtap_encaps.IEEE_802_11_RADIOTAP, behind_radiotap)
stand_before("wlan", wtap_encaps.IEEE_802_11, at_once)

local function dissect_frame(view, pinfo, root)
  local body = body_of(view)
  local place = body and ELEMENTS[view:u8(0)]
  if place then
    pinfo.cols.info:append(frames.add_elements(view, root, place.at + body - HEADER, place.sender, place.mac))
  elseif body and is_action(view) then
    local text = frames.add_action(view, root, body, view:range(10, 6), view:range(4, 6), pinfo.number)
    if text then
      pinfo.cols.protocol:set("vorlent")
      pinfo.cols.info:set(text .. (is_shown_in_part and "" or " (the 802.11 dissector misreads it)"))
    end
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
      dissect_frame(view_of(tvb, at, stop - at), pinfo, root)
    end
  end
  is_shown_in_part = false
end

register_postdissector(vorlent)
