#pragma once
// Message texts of the errors and sensitivity tasks, exactly as users see them.

namespace msg {
inline constexpr const char* kTaskErrors = "Errors";                                  // task name
inline constexpr const char* kTaskSensitivity = "Sensitivity modeling";              // task name
inline constexpr const char* kTelescopeNotFound = "index telescope not found";
inline constexpr const char* kNoErrorsType = "Not selected Errors type. Please select Errors type.";
inline constexpr const char* kTimeIntervals = "Time intervals: ";
}  // namespace msg
