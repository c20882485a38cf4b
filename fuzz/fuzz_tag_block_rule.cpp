// Any bytes against the contract's tag-block rule: the rule and its reason agree, a block it
// accepts reads as exactly its entries and the host writes that set back as a block it accepts,
// and a byte after the last record is refused.
#include "contract/TagBlockRule.h"
#include "endian/LittleEndian.h"
#include "fuzz/FuzzCheck.h"
#include "tags/IDTagSet.h"

#include <vector>

using wm::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> input(data, data + size);
    const std::string problem = wm::TagBlockProblem(input.data(), input.size());
    Check(problem.empty() == wm::TagBlockIsWellFormed(input.data(), input.size()),
          "the rule and its reason disagree");
    if (!problem.empty())
        return 0;
    wm::IDTagSet set;
    set.Deserialize(input.data(), input.size());
    Check(set.Count() == wm::Le32(input.data()), "an accepted block does not read as its entries");
    const std::vector<uint8_t> again = set.Serialize();
    Check(wm::TagBlockIsWellFormed(again.data(), again.size()),
          "the host writes a block the rule refuses");
    input.push_back(0);
    Check(!wm::TagBlockIsWellFormed(input.data(), input.size()),
          "a byte after the last record is accepted");
    return 0;
}
