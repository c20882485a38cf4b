#include "plugins/BlockFlow.h"

#include <algorithm>

namespace wm {

uint32_t IdleMs(uint32_t emptyBlocksInARow) {
    static constexpr uint32_t kIdleTableMs[] = {0, 0, 25, 25, 50};
    return kIdleTableMs[std::min<uint32_t>(emptyBlocksInARow, 4)];
}

} // namespace wm
