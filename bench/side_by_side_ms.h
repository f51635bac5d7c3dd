#pragma once
// The Measurement Set side of bench/side_by_side_tools (casacore, built apart in C++17 because
// casacore 3.5's headers predate C++20).
#include <string>
#include <vector>

struct AMsRows {
  std::vector<double> freq;   // channel frequencies of the first spectral window, Hz
  std::vector<double> uvw;    // 3 per row, metres
  std::vector<float> model;   // MODEL_DATA of the first correlation: re, im per channel per row
};

long long MsRowCount(const std::string& ms);
int ReadMsRows(const std::string& ms, const std::vector<long long>& rows, AMsRows& out);
// UVFITS to Measurement Set through casacore's importer (the one behind CASA's importuvfits).
int UvfitsToMs(const std::string& fits, const std::string& ms);
