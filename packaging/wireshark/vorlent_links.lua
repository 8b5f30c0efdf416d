-- Which frames of a handshake belong together: what answers what, and what was sent again.
--
-- Noted while Wireshark reads a capture for the first time, in its order; tshark knows what comes
-- later in the capture with -2 only.
-- A part of vorlent.lua; by itself, as a plugin folder loads it too, it does nothing.
local vorlent = ...
if type(vorlent) ~= "userdata" then
  return
end

local GIVES_UP_AFTER = 35  -- seconds from a unit's first operation 1000 without an answer
local pairs_of, links

local function forget()
  pairs_of, links = {}, {}
end
forget()

-- A unit's 1000 begins a handshake anew when it had come further, or must have given up.
local function begins_anew(pair, now)
  return pair.steps[3] or pair.steps[4] or pair.steps[5] or now - pair.began >= GIVES_UP_AFTER
end

local function pair_of(unit, base, step, now)
  local key = unit .. base
  local pair = pairs_of[key]
  if pair == nil or (step == 1 and begins_anew(pair, now)) then
    pair = { began = now, steps = {} }
    pairs_of[key] = pair
  end
  return pair
end

-- Each step of the handshake is answered by the next one.
local function note(pinfo, operation, from, to, bytes)
  if pinfo.visited then
    return
  end
  local is_unit, step, now = operation.from == "unit", operation.step, tonumber(tostring(pinfo.abs_ts))
  local pair = pair_of(is_unit and from or to, is_unit and to or from, step, now)
  local own, before, same = {}, pair.steps[step - 1], pair.steps[step]
  if before then
    own.answer_to = before.number
    links[before.number].answered_in = links[before.number].answered_in or pinfo.number
  end
  if same and same.bytes == bytes then
    own.resent = same.number
  end
  pair.steps[step] = { number = pinfo.number, bytes = bytes }
  links[pinfo.number] = own
end

return { note = note, forget = forget, of = function(number)
  return links[number] or {}
end }
