#pragma once
// The numbered message texts shared by several parts of the program, exactly as users see them.

namespace msg {
inline constexpr const char* kTaskVlbiConfiguration = "VLBI configuration";                  // 200
inline constexpr const char* kTooFewTelescopes = "Select telescopes must be greater 1.";         // 300
inline constexpr const char* kNoTimeIntervals = "Time interval(s) not found.";                   // 301
inline constexpr const char* kInvalidFreqId = "Time interval contains invalid Freq. ID. ";       // 302
inline constexpr const char* kStartAfterStop = "Start time must be less or equal stop time.";    // 303
inline constexpr const char* kTooFewUvPoints = "Small points. Resulting UV-points < 1.";        // 304
inline constexpr const char* kNoPolarization = "Please select one or more polarization/Stokes.";  // 306
inline constexpr const char* kTelescopeExists = "Telescope already exists. Do you want overwrite this?";  // 520
inline constexpr const char* kNoTelescopesSelected =
    "Can`t find selected telescopes. Please select one or more telescope(s).";                    // 521
inline constexpr const char* kSaveChanges = "\n\nDo you want save changes?";
}  // namespace msg
