#pragma once
// Rendering of one component into a map.
//
// The brightness of a component is represented by a set of weighted points in the component's
// own frame (a grid over a Gaussian, a disk, a rectangle or an annulus; points along a ring;
// points of a spherical shell seen in projection). The weights add up to the flux; each point is
// placed on the sky (axis ratio, major-axis direction, offset) and its weight shared bilinearly
// among the four nearest pixels, so the map holds Jy per pixel, its sum is the flux of the parts
// inside the field and its centroid is exact. Points are at most a quarter to a half pixel apart.

#include "core/containers.h"
#include "model/comp_item.h"
#include "model/map_range.h"

// Adds the component to `map` (R x C, R, C >= 2) over the axis ranges `range` (arcsec).
void RenderComp(const ACompItem& item, AMatrix<float>& map, const TMinMax& range);
