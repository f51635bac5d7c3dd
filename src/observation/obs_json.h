#pragma once
// The readable JSON form of an observation, converted to and from AMObservation losslessly.
// The schema is described in docs/observation.md.

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "observation/observation.h"
#include "observation/source_catalog.h"
#include "observation/telescope_catalog.h"

// Observation -> JSON. With a catalogue, a telescope equal to a catalogue entry (name, ID name,
// kind and all parameters) is written by reference {"catalog": name, "id": ID}.
nlohmann::json ObservationToJson(const AMObservation& obs, const AMTlscCatalog* catalog = nullptr);

// JSON -> observation. Unknown keys, wrong types and bad values are refused: returns 0 and puts
// a one-line reason naming the key ("telescopes[2].x_m: expected a number") into `error`.
// Telescopes given by "catalog" are looked up in `catalog` (refused when absent). `target` is
// replaced only on success.
// A source given as {"catalog": NAME, "name_choice": "name"|"other"} is looked up in `sources`
// (either of its two names) and named by the choice (default "name").
int ObservationFromJson(const nlohmann::json& j, AMObservation& target, std::string& error,
                        const AMTlscCatalog* catalog = nullptr, const AMSourceCatalog* sources = nullptr);

// Text conversions used by the JSON form and the summary: the shortest sexagesimal text that
// reads back to exactly the same value (up to 9 decimals), or nothing.
std::string ExactTimeText(double seconds);   // empty when not representable
std::string ExactAngleText(double arcsec);   // empty when not representable
