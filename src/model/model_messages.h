#pragma once
// Message texts of source modeling, exactly as users see them (string-table ids in comments).

namespace msg {
inline constexpr const char* kTaskSourceModeling = "Source modeling";               // task name
inline constexpr const char* kFluxPositive = "Flux must be > 0.";                  // 251 (unused by validation)
inline constexpr const char* kLargeAxisInvalid = "Large axis mus be >= 0.";        // 252
inline constexpr const char* kAxisRatioInvalid = "Axis ratio invalid range.";      // 253
inline constexpr const char* kDistanceInvalid = "Distance must be >= 0";           // 254
}  // namespace msg
