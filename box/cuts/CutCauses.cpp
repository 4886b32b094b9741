#include "box/cuts/CutCauses.h"

#include "box/cuts/Mails.h"

#include <algorithm>
#include <string_view>

namespace box {

namespace {

constexpr std::string_view kBelowQueues = "ostrel/conf/orv/callHome/queues/";
constexpr std::string_view kOrder = "/order";

}  // namespace

CutCauses::CutCauses(const FileTree& start, const FileOperations& operations, const CutState& state)
    : operations_(operations),
      state_(state),
      whole_(treeOf(start, operations, {state.cut, {}})),
      damaged_(treeOf(start, operations, state)) {
}

CutCauses::Entry CutCauses::onlyIn(const FileTree& one, const FileTree& other, const std::string& event) {
    for (const auto& [path, file] : one.names()) {
        const std::string& bytes = one.file(file).bytes;
        if (path.starts_with(kBelowQueues) && eventIn(bytes) == event && other.file(path).bytes != bytes) {
            return {path, file};
        }
    }
    return {};
}

std::string CutCauses::of(const Entry& entry) const {
    const auto is = [&](const Damage& damage) {
        const FileOperation& operation = operations_[damage.operation];
        return entry.path.empty()    ? operation.path.find(kOrder) != std::string::npos
               : operation.file != 0 ? operation.file == entry.file
                                     : entry.path.starts_with(operation.path + "/");
    };
    const auto found = std::ranges::find_if(state_.damages, is);
    return found == state_.damages.end() ? "several together" : causeOf(operations_[found->operation], *found);
}

// An entry whose file is whole is hidden by an order file.
std::string CutCauses::ofLoss(const std::string& event) const {
    return of(onlyIn(whole_, damaged_, event));
}

std::string CutCauses::ofMix() const {
    for (const Damage& damage : state_.damages) {
        const FileOperation& torn = operations_[damage.operation];
        const auto isEarlier = [&](const FileOperation& other) {
            return other.kind == FileOperation::kWrite && other.file == torn.file && other.offset == 0 &&
                   eventIn(other.bytes) == eventIn(torn.bytes) && other.bytes.size() != torn.bytes.size();
        };
        if (damage.kind == Damage::kTorn && torn.offset == 0 && !eventIn(torn.bytes).empty() &&
            std::any_of(operations_.begin(), operations_.begin() + static_cast<std::ptrdiff_t>(damage.operation),
                        isEarlier)) {
            return causeOf(torn, damage);
        }
    }
    return "";
}

std::string CutCauses::ofDouble(const std::string& event) const {
    return of(onlyIn(damaged_, whole_, event));
}

}  // namespace box
