// Stand-in for Maya's MSpace: the transformation spaces of geometry queries.
#pragma once

class MSpace {
  public:
    enum Space {
        kInvalid = 0,
        kTransform = 1,
        kPreTransform = 2,
        kPostTransform = 3,
        kWorld = 4,
        kObject = kPreTransform,
        kLast = 5
    };
};
