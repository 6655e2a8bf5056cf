// CGAL's AABB tree over a triangle soup (double precision, the usual fast kernel), with the
// kd-tree acceleration of distance queries. Kept in its own translation unit: CGAL compiles slowly.
#include "ClosestPointEngines.h"

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>

#include <iterator>
#include <vector>

namespace KelnoBench {

namespace {

using Kernel = CGAL::Simple_cartesian<double>;
using Point = Kernel::Point_3;
using Triangle = Kernel::Triangle_3;
using Iterator = std::vector<Triangle>::const_iterator;
using Primitive = CGAL::AABB_triangle_primitive<Kernel, Iterator>;
using Traits = CGAL::AABB_traits<Kernel, Primitive>;
using Tree = CGAL::AABB_tree<Traits>;

class CgalEngine : public ClosestPointEngine {
  public:
    std::string name() const override { return "CGAL"; }

    void build(const Kelno::KTriMesh& mesh) override {
        m_tree.reset();
        m_triangles.clear();
        m_triangles.reserve(mesh.triangles.size());
        for (const Kelno::KInt3& t : mesh.triangles) {
            const Kelno::KVector& a = mesh.positions[t[0]];
            const Kelno::KVector& b = mesh.positions[t[1]];
            const Kelno::KVector& c = mesh.positions[t[2]];
            m_triangles.emplace_back(Point(a.x, a.y, a.z), Point(b.x, b.y, b.z), Point(c.x, c.y, c.z));
        }
        m_tree.reset(new Tree(m_triangles.cbegin(), m_triangles.cend()));
        m_tree->build();
        m_tree->accelerate_distance_queries();
    }

    void closest(const Kelno::KVector* points, int count, int threads, Hit* out) const override {
        const Tree& tree = *m_tree;
        const Iterator first = m_triangles.cbegin();
#pragma omp parallel for num_threads(threads) schedule(static, 256)
        for (int i = 0; i < count; ++i) {
            const Point p(points[i].x, points[i].y, points[i].z);
            const auto hit = tree.closest_point_and_primitive(p);
            out[i].d2 = static_cast<float>(CGAL::squared_distance(p, hit.first));
            out[i].triangle = static_cast<int>(hit.second - first);
        }
    }

    long long boxes(const Kelno::KVector* lo, const Kelno::KVector* hi, int count,
                    int threads) const override {
        long long total = 0;
        const Tree& tree = *m_tree;
#pragma omp parallel num_threads(threads) reduction(+ : total)
        {
            std::vector<Primitive::Id> found;
#pragma omp for schedule(static, 16)
            for (int i = 0; i < count; ++i) {
                found.clear();
                tree.all_intersected_primitives(
                    CGAL::Bbox_3(lo[i].x, lo[i].y, lo[i].z, hi[i].x, hi[i].y, hi[i].z),
                    std::back_inserter(found));
                total += static_cast<long long>(found.size());
            }
        }
        return total;
    }

    std::size_t bytes() const override { return 0; }

  private:
    std::vector<Triangle> m_triangles;
    std::unique_ptr<Tree> m_tree;
};

} // namespace

std::unique_ptr<ClosestPointEngine> makeCgalEngine() {
    return std::unique_ptr<ClosestPointEngine>(new CgalEngine);
}

} // namespace KelnoBench
