#pragma once
// The source catalogue "Sources.dat" (read only) and choosing the observed source from it.
//
// One source a line, read with a 128-byte buffer; empty lines and lines starting with ';' are
// comments. Other lines hold four words: name, other name, right ascension "HH:MM:SS.S",
// declination "[+-]DD:MM:SS.S". A line whose coordinates do not parse keeps the coordinates of
// the line before it (0, 0 for the first).

#include <istream>
#include <string>

#include "core/containers.h"
#include "core/runtime.h"
#include "observation/observation.h"

inline constexpr const char* kSourcesFileName = "Sources.dat";
inline constexpr const char* kCantOpenSources = "ca`t open";

struct AMSourceInfoItem {
  std::string name;        // first word
  std::string other_name;  // second word
  double ra_time_s = 0;    // seconds of time
  double dec_arcsec = 0;   // arc-seconds
};

using AMSourceCatalog = AObjArray<AMSourceInfoItem>;

// Most sources read from a catalogue file; the lines after them are not read.
inline constexpr int kMaxSourceEntries = 1 << 20;

// Reads the catalogue in file order; always non-zero for a stream.
int ReadSources(std::istream& in, AMSourceCatalog& catalog);
// Loads the file; when it cannot be opened shows "ca`t open" and returns 0.
int LoadSourceFile(const std::string& path, AMSourceCatalog& catalog, MessageSink* messages);
// Index of the source whose name or other name equals `name` (ignoring case); -1 when absent.
int FindSource(const AMSourceCatalog& catalog, const std::string& name);

// Takes the source into the observation: its name (or other name), coordinates, and the output
// file renamed to folder of the current output + name + "_mdl.uvx".
void ChooseSource(AMObservation& obs, const AMSourceInfoItem& source, bool use_other_name);
