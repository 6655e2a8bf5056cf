// CGAL's 2D Delaunay triangulation with the usual exact-predicates kernel, vertices carrying
// their input index, points inserted as one range of (point, index) pairs (CGAL sorts them
// along a space-filling curve itself). Kept in its own translation unit: CGAL compiles slowly.
#include "DelaunayEngines.h"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include <utility>
#include <vector>

namespace KelnoBench {

int cgalDelaunay(const Kelno::KFloat2Array& points, std::vector<int>& triangleVertices) {
    using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
    using Vb = CGAL::Triangulation_vertex_base_with_info_2<int, Kernel>;
    using Tds = CGAL::Triangulation_data_structure_2<Vb>;
    using Delaunay = CGAL::Delaunay_triangulation_2<Kernel, Tds>;

    std::vector<std::pair<Kernel::Point_2, int>> input;
    input.reserve(points.size());
    for (int i = 0; i < points.length(); ++i)
        input.emplace_back(Kernel::Point_2(points[i].x, points[i].y), i);
    Delaunay dt(input.begin(), input.end());
    triangleVertices.clear();
    triangleVertices.reserve(3 * dt.number_of_faces());
    for (auto f = dt.finite_faces_begin(); f != dt.finite_faces_end(); ++f) {
        for (int k = 0; k < 3; ++k)
            triangleVertices.push_back(f->vertex(k)->info());
    }
    return static_cast<int>(dt.number_of_faces());
}

} // namespace KelnoBench
