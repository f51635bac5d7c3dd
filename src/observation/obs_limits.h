#pragma once
// What task 1 refuses before it computes or writes anything, beyond the checks of the Create
// command (docs/robustness.md):
//  - a value that is not a finite number (a damaged file; the readers refuse them already);
//  - an observation date that is not a calendar date or falls before 1900 (the antenna table
//    cannot hold it);
//  - a telescope that the catalogue's edit dialog would refuse: its name and ID name, the
//    orbital elements of an orbital telescope that does not read an orbit file, the AZ and
//    zenith limits of a ground telescope;
//  - a sampling that would not end or would fill the disk: interval times farther than
//    kMaxIntervalTimeS from 0h of the date, a time step below kMinTimeStepS, or more than
//    kMaxTimeSamples samples in all.

#include <string>

#include "observation/observation.h"

// Interval times lie within one year of 0h of the observation date.
inline constexpr double kMaxIntervalTimeS = 366.0 * 86400.0;
// Shortest time step: far above the resolution of a time within the year above, so that every
// step advances the time.
inline constexpr double kMinTimeStepS = 1.0e-3;
// Most time samples of one observation (each interval counted alone).
inline constexpr double kMaxTimeSamples = 1.0e8;

// Where the first value that is not a finite number sits ("telescopes[2] parameter 1"), empty
// when every value is finite.
std::string FirstNonFiniteValue(const AMObservation& obs);

// Samples the intervals give at the time step, each interval counted alone; a double, so that
// absurd values cannot overflow.
double CountTimeSamples(const AMObservation& obs);

// Empty when the sampling ends and stays within the limits above, else the reason in one line.
std::string CheckTimeSampling(const AMObservation& obs);

// Empty when the date is a calendar date from 1900 on, else the reason in one line.
std::string CheckObservationDate(const AMObservation& obs);

// The catalogue's checks of telescope `index` (0-based); empty when it passes, else the reason
// naming the telescope.
std::string CheckObservationTelescope(const AMObservation& obs, int index);

// All of the above in order (values, date, telescopes, sampling); empty when task 1 may go on.
std::string CheckTask1Limits(const AMObservation& obs);
