// Closest-point engines compared by bench_closest_point: the Kelno tree and, when they are
// installed, CGAL's AABB tree and Embree's point queries, behind one small interface so every
// engine answers the same queries in the same loop shape.
#pragma once

#include <kelno/KMesh.h>

#include <cstddef>
#include <memory>
#include <string>

namespace KelnoBench {

// One closest-point answer: squared distance and triangle index (-1 when none).
struct Hit {
    float d2;
    int triangle;
};

class ClosestPointEngine {
  public:
    virtual ~ClosestPointEngine() = default;
    virtual std::string name() const = 0;
    // Builds the engine's acceleration structure over the mesh (the engine keeps its own copy
    // of whatever it needs).
    virtual void build(const Kelno::KTriMesh& mesh) = 0;
    // Answers points[0..count) with `threads` OpenMP threads (static blocks of 256 queries).
    virtual void closest(const Kelno::KVector* points, int count, int threads, Hit* out) const = 0;
    // For each box (lo, hi pairs), the number of triangles the engine reports for it; returns
    // the total. Engines without box queries return -1.
    virtual long long boxes(const Kelno::KVector* lo, const Kelno::KVector* hi, int count,
                            int threads) const = 0;
    // Bytes the engine holds for the mesh after build (its copy of the mesh included), or 0
    // when it cannot tell.
    virtual std::size_t bytes() const = 0;
};

std::unique_ptr<ClosestPointEngine> makeKelnoEngine();
// Null when the library was not found at configure time.
std::unique_ptr<ClosestPointEngine> makeCgalEngine();
std::unique_ptr<ClosestPointEngine> makeEmbreeEngine();

} // namespace KelnoBench
