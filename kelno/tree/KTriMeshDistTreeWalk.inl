// The closest-point walk of KTriMeshDistTree, written once for any lane width.
//
// Not a header of its own: KTriMeshDistTree.cpp includes it once per lane width, each time
// inside a namespace of its own that first provides the lane type and its operations:
//   V          the float lanes (F4; F8 or F16 where the processor has AVX2 or AVX-512), with
//              + - * /, vmin, vmax, reciprocal, <= >= > (giving an M), clamp01 and smallest;
//   M          the lane masks, with & | andNot, select(mask, a, b) and bits;
//   kGroup     blocks per lane group (a V holds 4 * kGroup triangles);
//   splatLanes(f), loadRow(group, row) (row `row` of the blocks' corners side by side) and
//              storeLanes(out, v).
// The wider copies sit in regions compiled for their instruction sets, so nothing here may be
// declared outside the including namespace (those copies must never run on a processor
// without them).

// ---------------------------------------------------------------------------------------------
// Bounds on the distance of the triangles of a lane group at once, in floats.
//
// A fast single-precision pass decides which triangles need the exact answer. It finds a point
// of each triangle by the classic region tests (A, B, edge AB, C, edge AC, edge BC, face);
// rounding can make those tests pick the wrong region, which gives a point of the triangle that
// is too far but never one that is too near. So
//   hi = the squared distance of that point, widened by its rounding, bounds the exact value
//        from above for every triangle of normal size;
//   lo = the same narrowed by the worst misclassification, which grows with r = L^2 / |AB x AC|^2
//        (L the longest squared edge; r is about 1 / sin^2 of the smallest angle): over 20
//        million random triangles and queries near every region boundary, from 2^-10 to 2^5
//        triangle sizes away, the squared distance came out at most 2^-23 (1 + r) (d + L) too
//        large; the margin here is 32 times that.
// Thin triangles (r above 1024), tiny or huge ones (where fourth powers of lengths leave the
// normal float range) and far queries take the distance of their box as the lower bound and
// have no upper bound.
struct LaneBounds {
    V lo, hi;
    int fat; // bit k set when lane k is fat (its lower bound came from the region tests)
};

inline V distance2(V apx, V apy, V apz, V abx, V aby, V abz, V acx, V acy, V acz, V s, V t) {
    const V rx = (apx - s * abx) - t * acx;
    const V ry = (apy - s * aby) - t * acy;
    const V rz = (apz - s * abz) - t * acz;
    return rx * rx + ry * ry + rz * rz;
}

#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline LaneBounds
boundsOnGroup(const Block* const (&g)[kGroup], V px, V py, V pz, V boxD2) {
    const V zero = splatLanes(0.0f), one = splatLanes(1.0f), tiny = splatLanes(kTiny);
    const V ax = loadRow(g, 6), ay = loadRow(g, 7), az = loadRow(g, 8);
    const V abx = loadRow(g, 0) - ax, aby = loadRow(g, 1) - ay, abz = loadRow(g, 2) - az;
    const V acx = loadRow(g, 3) - ax, acy = loadRow(g, 4) - ay, acz = loadRow(g, 5) - az;
    const V apx = px - ax, apy = py - ay, apz = pz - az;

    const V d1 = abx * apx + aby * apy + abz * apz;
    const V d2 = acx * apx + acy * apy + acz * apz;
    const V e00 = abx * abx + aby * aby + abz * abz;
    const V e01 = abx * acx + aby * acy + abz * acz;
    const V e11 = acx * acx + acy * acy + acz * acz;
    const V d3 = d1 - e00; // AB . (P - B)
    const V d4 = d2 - e01; // AC . (P - B)
    const V d5 = d1 - e01; // AB . (P - C)
    const V d6 = d2 - e11; // AC . (P - C)
    const V va = d3 * d6 - d5 * d4;
    const V vb = d5 * d2 - d1 * d6;
    const V vc = d1 * d4 - d3 * d2;
    const V bcStart = d4 - d3, bcEnd = d5 - d6;

    const M mA = (d1 <= zero) & (d2 <= zero);
    const M mB = (d3 >= zero) & (d4 <= d3);
    const M mAB = (vc <= zero) & (d1 >= zero) & (d3 <= zero);
    const M mC = (d6 >= zero) & (d5 <= d6);
    const M mAC = (vb <= zero) & (d2 >= zero) & (d6 <= zero);
    const M mBC = (va <= zero) & (bcStart >= zero) & (bcEnd >= zero);
    // Make the regions exclusive in test order.
    M taken = mA | mB;
    const M eAB = andNot(mAB, taken);
    taken = taken | mAB;
    const M eC = andNot(mC, taken);
    taken = taken | mC;
    const M eAC = andNot(mAC, taken);
    taken = taken | mAC;
    const M eBC = andNot(mBC, taken);

    // One division pair serves whichever of face and edges applies.
    const V sum = va + vb + vc;
    V ns = select(eBC, bcEnd, vb), nt = select(eBC, bcStart, vc), den = select(eBC, bcStart + bcEnd, sum);
    ns = select(eAC, zero, ns);
    nt = select(eAC, d2, nt);
    den = select(eAC, d2 - d6, den);
    ns = select(eAB, d1, ns);
    nt = select(eAB, zero, nt);
    den = select(eAB, d1 - d3, den);
    den = vmax(den, tiny);
    const V inv = one / den;
    V s = clamp01(ns * inv), t = clamp01(nt * inv);
    // Keep the point on the triangle: rounding can push a face answer just past edge BC.
    const V st = s + t;
    const M over = st > one;
    s = select(over, s / st, s);
    t = select(over, t / st, t);
    s = select(eC, zero, s);
    t = select(eC, one, t);
    s = select(mB, one, s);
    t = select(mB, zero, t);
    s = select(mA, zero, s);
    t = select(mA, zero, t);
    const V d = distance2(apx, apy, apz, abx, aby, abz, acx, acy, acz, s, t);

    // (Padding lanes hold NaN and fail every comparison: no bounds, never refined.)
    const V area = e00 * e11 - e01 * e01;    // |AB x AC|^2
    const V ebc = (e00 + e11) - (e01 + e01); // |BC|^2
    const V longest = vmax(vmax(e00, e11), ebc);
    const V small = splatLanes(kSmallest), large = splatLanes(kLargest);
    // (A fat triangle has every squared edge above 2^-10 longest, so no product below
    // underflows.)
    const M ranged = (longest >= small) & (longest <= large) & (d <= large);
    const V squat = longest * longest; // area / squat is about the sin^2 of the smallest angle
    const M fat = ranged & (area > splatLanes(kThin) * squat);
    const V scale = d + longest;
    const V lo = d - splatLanes(kLowMargin) * (one + squat * reciprocal(vmax(area, tiny))) * scale;
    const V hi = d + splatLanes(kHighMargin) * scale;
    return {select(fat, lo, boxD2), select(ranged, hi, splatLanes(kInf)), bits(fat)};
}

// ---------------------------------------------------------------------------------------------
// The walk: nodes nearest first, the blocks of the leaves reached tested a lane group at a time
// (with several blocks to a group, a leaf's blocks may wait for the next leaves'). Returns the index
// of the nearest triangle within maxDistance (-1 for none), its weights and the block and lane
// that hold it.
int closestWalk(const KTriMeshDistTree::Data& data, const KVector& p, float maxDistance, double& s, double& t,
                const Block*& bestBlock, int& bestLane) {
    // bound: an upper bound of the final answer (the limit, the float bounds of the triangles
    // seen and the exact values so far); best: the smallest exact value so far. Triangles that
    // may come within the bound wait in `list` and get their exact value at the end, when the
    // bound is tightest, so that usually only the winner and its ties are computed exactly.
    double best = static_cast<double>(maxDistance) * maxDistance;
    float bound = roundUp(best);
    int bestId = -1;
    float prune = pruneBound(bound);
    const V px = splatLanes(p.x), py = splatLanes(p.y), pz = splatLanes(p.z);
    const F4 qx = splat(p.x), qy = splat(p.y), qz = splat(p.z), zero = splat(0.0f);
    const D3 q{p.x, p.y, p.z};

    struct Candidate {
        float lo;
        const Block* block;
        int lane;
        bool fat;
    };
    const int kLanes = 4 * kGroup;
    const int kPending = 32;
    Candidate list[kPending]; // settled before one more group could overflow it
    int pending = 0;
    // The exact value of one waiting triangle, kept when it beats the best or ties it with a
    // higher index.
    auto exact = [&](const Candidate& c) {
        const Block& blk = *c.block;
        const int lane = c.lane;
        const TriangleAnswer r = closestExact(q, cornerOf(blk.c, 0, lane), cornerOf(blk.c, 1, lane),
                                              cornerOf(blk.c, 2, lane), c.fat);
        if (r.d2 < best || (r.d2 == best && blk.id[lane] > bestId)) {
            best = r.d2;
            bestId = blk.id[lane];
            s = r.s;
            t = r.t;
            bestBlock = &blk;
            bestLane = lane;
            bound = std::min(bound, roundUp(best));
            prune = pruneBound(bound);
        }
    };
    // The nearest lower bound first (nearly always the winner, so the others then face the
    // tightest bound), then the rest in turn; returns the number left waiting (none).
    auto settle = [&](int count) {
        int nearest = 0;
        for (int i = 1; i < count; ++i)
            if (list[i].lo < list[nearest].lo)
                nearest = i;
        if (count > 0 && list[nearest].lo <= prune)
            exact(list[nearest]);
        for (int i = 0; i < count; ++i)
            if (i != nearest && list[i].lo <= prune)
                exact(list[i]);
        return 0;
    };
    // Tests the first `used` blocks of the group (the other slots repeat the first block and
    // their lanes are ignored).
    const Block* group[kGroup];
    int grouped = 0;
    auto testGroup = [&](int used) {
        // The boxes of the triangles first: most blocks of a leaf that is near enough hold no
        // triangle that is. (Zero first: padding lanes stay NaN.)
        const int lanes = static_cast<int>((1u << (4 * used)) - 1u);
        const V vzero = splatLanes(0.0f);
        V boxD2 = vzero;
        for (int a = 0; a < 3; ++a) {
            const V c0 = loadRow(group, a), c1 = loadRow(group, 3 + a), c2 = loadRow(group, 6 + a);
            const V r = a == 0 ? px : (a == 1 ? py : pz);
            const V d = vmax(vzero, vmax(vmin(vmin(c0, c1), c2) - r, r - vmax(vmax(c0, c1), c2)));
            boxD2 = boxD2 + d * d;
        }
        if (!(bits(boxD2 <= splatLanes(prune)) & lanes))
            return;
        const LaneBounds lb = boundsOnGroup(group, px, py, pz, boxD2);
        const float hi = smallest(lb.hi);
        if (hi < bound) {
            bound = hi;
            prune = pruneBound(bound);
        }
        const int cand = bits(lb.lo <= splatLanes(prune)) & lanes;
        if (!cand)
            return;
        alignas(32) float lo[kLanes];
        storeLanes(lo, lb.lo);
        // All written, the count grown by the lanes that wait (no branch per lane).
        if (pending > kPending - kLanes)
            pending = settle(pending);
        for (int lane = 0; lane < kLanes; ++lane) {
            list[pending] = Candidate{lo[lane], group[lane >> 2], lane & 3, ((lb.fat >> lane) & 1) != 0};
            pending += (cand >> lane) & 1;
        }
    };

    // Stack entries: (bits of the box distance + 1) << 32 | child reference, so that entries
    // order like their distances; 0 marks a child that is not near enough.
    std::uint64_t stack[256];
    int sp = 0;
    int ref = data.root;
    const Node* const nodes = data.nodes.data();
    const Block* const blocks = data.blocks.data();
    for (;;) {
        if (!isLeaf(ref)) {
            const Node& n = nodes[static_cast<std::size_t>(ref)];
            const F4 dx = vmax(vmax(load(n.b[0]) - qx, qx - load(n.b[3])), zero);
            const F4 dy = vmax(vmax(load(n.b[1]) - qy, qy - load(n.b[4])), zero);
            const F4 dz = vmax(vmax(load(n.b[2]) - qz, qz - load(n.b[5])), zero);
            const F4 d2 = dx * dx + dy * dy + dz * dz;
            const int hit = bits(d2 <= splat(prune)) & n.valid;
            if (hit) {
                // The children near enough go on the stack farthest first, without a branch
                // per child (their order is data, and branches on it are mispredicted): a
                // sorting network on the keys, all four written, the stack grown by the count.
                alignas(16) std::uint32_t dist[4];
                store(reinterpret_cast<float*>(dist), d2);
                std::uint64_t key[4];
                for (int c = 0; c < 4; ++c) {
                    const std::uint64_t taken = 0 - static_cast<std::uint64_t>((hit >> c) & 1);
                    key[c] = taken & (((static_cast<std::uint64_t>(dist[c]) + 1) << 32) |
                                      static_cast<std::uint32_t>(n.child[c]));
                }
                sortDescending(key);
                for (int c = 0; c < 4; ++c) {
                    stack[sp + c] = key[c];
                    data._prefetch(static_cast<int>(static_cast<std::uint32_t>(key[c])));
                }
                sp += popCount(hit) - 1;
                ref = static_cast<int>(static_cast<std::uint32_t>(stack[sp]));
                continue;
            }
        } else {
            const int first = leafFirst(ref), blockCount = leafCount(ref);
            for (int b = first; b < first + blockCount; ++b) {
                group[grouped++] = &blocks[static_cast<std::size_t>(b)];
                if (grouped == kGroup) {
                    testGroup(kGroup);
                    grouped = 0;
                }
            }
        }
        // Next entry that is still near enough.
        for (;;) {
            if (sp == 0) {
                if (grouped) {
                    for (int k = grouped; k < kGroup; ++k)
                        group[k] = group[0];
                    testGroup(grouped);
                }
                settle(pending);
                return bestId;
            }
            const std::uint64_t e = stack[--sp];
            const std::uint32_t d2 = static_cast<std::uint32_t>(e >> 32) - 1;
            float distance;
            std::memcpy(&distance, &d2, sizeof distance);
            if (distance <= prune) {
                ref = static_cast<int>(static_cast<std::uint32_t>(e));
                break;
            }
        }
    }
}
