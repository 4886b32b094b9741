#include "box/cuts/CutState.h"

#include <algorithm>
#include <string_view>

namespace box {

namespace {

bool isOfBytes(const FileOperation& operation) {
    return operation.kind == FileOperation::kWrite || operation.kind == FileOperation::kCut;
}

// With its slash.
std::string_view directoryOf(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1);
}

bool brings(const FileOperation& sync, const FileOperation& operation) {
    if (isOfBytes(operation)) {
        return sync.file != 0 && sync.file == operation.file;
    }
    return sync.file == 0 && sync.path + "/" == directoryOf(operation.path);
}

Damage drawDamage(const FileOperation& operation, Random& chance) {
    Damage damage;
    switch (operation.kind) {
        case FileOperation::kRename:
            damage.kind = static_cast<Damage::Kind>(chance.below(3));
            damage.kind = damage.kind == Damage::kUnfilled ? Damage::kBothNames : damage.kind;
            break;
        case FileOperation::kWrite:
            damage.kind = static_cast<Damage::Kind>(chance.below(4));
            break;
        default:
            damage.kind = static_cast<Damage::Kind>(chance.below(2));
            break;
    }
    if (damage.kind == Damage::kTorn) {
        const std::size_t count = std::min<std::size_t>(sectorsOf(operation), 63);
        damage.sectors = chance.next() & ~(std::uint64_t{1} << chance.below(static_cast<std::uint32_t>(count)));
        damage.grown = chance.oneIn(2);
    }
    return damage;
}

void applyDamaged(FileTree& tree, const FileOperation& operation, const Damage& damage) {
    switch (damage.kind) {
        case Damage::kMissing:
        case Damage::kLate:
            break;
        case Damage::kUnfilled:
            tree.applySectors(operation, 0, true);
            break;
        case Damage::kTorn:
            tree.applySectors(operation, damage.sectors, damage.grown);
            break;
        case Damage::kBothNames:
            tree.applyNewName(operation);
            break;
    }
}

// Names of one directory do not pass each other: the latest operation on a name is the one that holds.
bool isOvertaken(const FileOperations& operations, std::size_t operation, std::size_t cut) {
    const FileOperation& late = operations[operation];
    const auto overtakes = [&](const FileOperation& other) {
        return !isOfBytes(other) && other.kind != FileOperation::kSync &&
               (other.path == late.path || other.target == late.path || other.path == late.target ||
                (!late.target.empty() && other.target == late.target));
    };
    return !isOfBytes(late) && std::any_of(operations.begin() + static_cast<std::ptrdiff_t>(operation) + 1,
                                           operations.begin() + static_cast<std::ptrdiff_t>(cut), overtakes);
}

std::string_view whatStandsAt(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    if (path.find("/queues/") != std::string_view::npos && !name.empty()) {
        return name[0] == 'm' ? "an entry's file" : name.starts_with("order") ? "an order file" : "a directory";
    }
    return path.find("/attachments/") != std::string_view::npos         ? "an attachment"
           : path.find("/attachments.stage/") != std::string_view::npos ? "a staged attachment"
           : name.starts_with("attachments.state")                      ? "the attachments' state"
           : name.starts_with("capture.seq")                            ? "the captures' number"
                                                                        : "a directory";
}

}  // namespace

bool isSynchronised(const FileOperations& operations, std::size_t operation, std::size_t cut) {
    for (std::size_t i = operation + 1; i < cut; ++i) {
        if (operations[i].kind == FileOperation::kSync && brings(operations[i], operations[operation])) {
            return true;
        }
    }
    return later(operations[operation].at, CutState::kWrittenUnasked) < operations[cut - 1].at;
}

// The later an operation, the more likely: each order of magnitude as likely as the next.
CutState drawState(const FileOperations& operations, std::size_t cut, std::size_t damages, Random& chance) {
    CutState state{cut, {}};
    for (std::size_t tries = 0; cut > 0 && state.damages.size() < damages && tries < 8 * damages; ++tries) {
        const std::uint32_t order = 1u << chance.below(12);
        const std::size_t back = order - 1 + chance.below(order);
        const std::size_t at = cut - 1 - std::min(back, cut - 1);
        if (operations[at].kind != FileOperation::kSync && !isSynchronised(operations, at, cut) &&
            std::ranges::find(state.damages, at, &Damage::operation) == state.damages.end()) {
            Damage damage = drawDamage(operations[at], chance);
            damage.operation = at;
            state.damages.push_back(damage);
        }
    }
    std::ranges::sort(state.damages, {}, &Damage::operation);
    return state;
}

FileTree treeOf(const FileTree& start, const FileOperations& operations, const CutState& state) {
    FileTree tree = start;
    for (std::size_t i = 0; i < state.cut; ++i) {
        const auto damage = std::ranges::find(state.damages, i, &Damage::operation);
        if (damage == state.damages.end()) {
            tree.apply(operations[i]);
        } else {
            applyDamaged(tree, operations[i], *damage);
        }
    }
    for (const Damage& damage : state.damages) {
        if (damage.kind == Damage::kLate && !isOvertaken(operations, damage.operation, state.cut)) {
            tree.apply(operations[damage.operation]);
        }
    }
    return tree;
}

std::string causeOf(const FileOperation& operation, const Damage& damage) {
    static constexpr const char* kOperations[] = {"name",   "name",  "link", "unlink", "removal",
                                                  "rename", "write", "cut",  "sync"};
    static constexpr const char* kDamages[] = {"missing", "late", "without its bytes", "torn", "under both names"};
    return std::string(whatStandsAt(operation.path)) + ": " + kOperations[operation.kind] + " " + kDamages[damage.kind];
}

std::string textOf(const FileOperations& operations, const CutState& state) {
    std::string text = "cut after " + std::to_string(state.cut) + " operations";
    for (const Damage& damage : state.damages) {
        const FileOperation& operation = operations[damage.operation];
        text += "; " + std::to_string(damage.operation) + " (" + operation.path + ") " + causeOf(operation, damage);
    }
    return text;
}

}  // namespace box
