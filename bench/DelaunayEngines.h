// The reference triangulator bench_delaunay compares against (built only when CGAL is found).
#pragma once

#include "kelno/KTypes.h"

#include <vector>

namespace KelnoBench {

// Triangulates `points` and returns the number of finite triangles; their corners (input
// indices) go to triangleVertices, three per triangle.
int cgalDelaunay(const Kelno::KFloat2Array& points, std::vector<int>& triangleVertices);

} // namespace KelnoBench
