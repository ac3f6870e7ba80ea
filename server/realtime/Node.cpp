#include "Node.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>

namespace tailwise::realtime {
namespace {

// Entries per leaf and blocks per inner block. Small objects, the common case, are one leaf:
// a sorted array that a change copies whole.
constexpr std::size_t maxEntries = 32;
constexpr std::size_t maxKids = 32;

std::optional<std::int64_t> integerKey(std::string_view key)
{
    std::string_view digits = key;
    const bool negative = !digits.empty() && digits.front() == '-';
    if (negative)
        digits.remove_prefix(1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    const std::size_t significant = digits.find_first_not_of('0');
    const std::string_view value = significant == std::string_view::npos
                                       ? digits.substr(digits.size() - 1)
                                       : digits.substr(significant);
    if (value.size() > 10)
        return std::nullopt;
    std::int64_t number = 0;
    std::from_chars(value.data(), value.data() + value.size(), number);
    if (negative)
        number = -number;
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return number;
}

int sign(auto difference)
{
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

std::size_t entryBytes(const Children::Entry &entry)
{
    // "key":value,
    return entry.key.size() + 4 + entry.value->bytes();
}

std::size_t scalarBytes(const Json &scalar)
{
    if (scalar.is_string())
        return scalar.get_ref<const std::string &>().size() + 2;
    if (scalar.is_boolean())
        return scalar.get<bool>() ? 4 : 5;
    if (scalar.is_number_integer()) {
        char digits[24];
        const auto end =
            scalar.is_number_unsigned()
                ? std::to_chars(digits, digits + sizeof digits, scalar.get<std::uint64_t>()).ptr
                : std::to_chars(digits, digits + sizeof digits, scalar.get<std::int64_t>()).ptr;
        return static_cast<std::size_t>(end - digits);
    }
    return 24; // the longest a double prints
}

} // namespace

int compareKeys(std::string_view a, std::string_view b)
{
    const auto left = integerKey(a);
    const auto right = integerKey(b);
    if (left && right) {
        if (*left != *right)
            return sign(*left - *right);
        if (a.size() != b.size())
            return sign(static_cast<long>(a.size()) - static_cast<long>(b.size()));
        return sign(a.compare(b));
    }
    if (left || right)
        return left ? -1 : 1;
    return sign(a.compare(b));
}

// A leaf holds entries; an inner block holds blocks, with the first key of each for the
// search. Both know their totals, so sizes and positions need no walk.
struct Children::Block
{
    std::vector<Entry> entries;
    std::vector<BlockPtr> kids;
    std::vector<std::string> firstKeys;
    std::size_t count = 0;
    std::size_t bytes = 0;

    bool leaf() const { return kids.empty(); }
    const std::string &firstKey() const { return leaf() ? entries.front().key : firstKeys.front(); }

    static BlockPtr leafOf(std::vector<Entry> entries)
    {
        auto block = std::make_shared<Block>();
        block->count = entries.size();
        for (const auto &entry : entries)
            block->bytes += entryBytes(entry);
        block->entries = std::move(entries);
        return block;
    }

    static BlockPtr innerOf(std::vector<BlockPtr> kids)
    {
        auto block = std::make_shared<Block>();
        block->firstKeys.reserve(kids.size());
        for (const auto &kid : kids) {
            block->count += kid->count;
            block->bytes += kid->bytes;
            block->firstKeys.push_back(kid->firstKey());
        }
        block->kids = std::move(kids);
        return block;
    }

    // The kid whose range holds `key`: the last one whose first key is not after it.
    std::size_t kidFor(std::string_view key) const
    {
        const auto after = std::upper_bound(
            firstKeys.begin() + 1, firstKeys.end(), key,
            [](std::string_view k, const std::string &first) { return compareKeys(k, first) < 0; });
        return static_cast<std::size_t>(after - firstKeys.begin()) - 1;
    }

    std::size_t entryIndex(std::string_view key) const
    {
        return static_cast<std::size_t>(
            std::lower_bound(entries.begin(), entries.end(), key,
                             [](const Entry &entry, std::string_view k) {
                                 return compareKeys(entry.key, k) < 0;
                             }) -
            entries.begin());
    }
};

namespace {

// Splits an overfull run in two. Appending at the end, as push ids and counters do, leaves
// the full half as it is, so such locations end up with full blocks rather than half-full.
template <typename Item>
std::pair<std::vector<Item>, std::vector<Item>> split(std::vector<Item> items, bool appended)
{
    const std::size_t cut = appended ? items.size() - 1 : items.size() / 2;
    std::vector<Item> right(std::make_move_iterator(items.begin() + static_cast<long>(cut)),
                            std::make_move_iterator(items.end()));
    items.resize(cut);
    return {std::move(items), std::move(right)};
}

} // namespace

Children Children::fromSorted(std::vector<Entry> entries)
{
    if (entries.empty())
        return {};
    std::vector<BlockPtr> level;
    for (std::size_t i = 0; i < entries.size(); i += maxEntries) {
        const auto last = std::min(entries.size(), i + maxEntries);
        level.push_back(
            Block::leafOf({std::make_move_iterator(entries.begin() + static_cast<long>(i)),
                           std::make_move_iterator(entries.begin() + static_cast<long>(last))}));
    }
    while (level.size() > 1) {
        std::vector<BlockPtr> up;
        for (std::size_t i = 0; i < level.size(); i += maxKids) {
            const auto last = std::min(level.size(), i + maxKids);
            up.push_back(Block::innerOf(
                {level.begin() + static_cast<long>(i), level.begin() + static_cast<long>(last)}));
        }
        level = std::move(up);
    }
    return Children(level.front());
}

std::size_t Children::size() const
{
    return root_ ? root_->count : 0;
}

std::size_t Children::bytes() const
{
    return root_ ? root_->bytes : 0;
}

const NodePtr *Children::find(std::string_view key) const
{
    const Block *block = root_.get();
    if (!block)
        return nullptr;
    while (!block->leaf())
        block = block->kids[block->kidFor(key)].get();
    const std::size_t index = block->entryIndex(key);
    if (index < block->entries.size() && block->entries[index].key == key)
        return &block->entries[index].value;
    return nullptr;
}

Children Children::with(std::string key, NodePtr value) const
{
    // Returns the block(s) replacing `block`: one, or two after a split.
    struct Insert
    {
        std::string &key;
        NodePtr &value;

        std::pair<BlockPtr, BlockPtr> into(const Block &block)
        {
            if (block.leaf()) {
                std::vector<Entry> entries = block.entries;
                const std::size_t index = block.entryIndex(key);
                if (index < entries.size() && entries[index].key == key) {
                    entries[index].value = std::move(value);
                    return {Block::leafOf(std::move(entries)), nullptr};
                }
                entries.insert(entries.begin() + static_cast<long>(index),
                               Entry{std::move(key), std::move(value)});
                if (entries.size() <= maxEntries)
                    return {Block::leafOf(std::move(entries)), nullptr};
                const bool appended = index + 1 == entries.size();
                auto [left, right] = split(std::move(entries), appended);
                return {Block::leafOf(std::move(left)), Block::leafOf(std::move(right))};
            }
            const std::size_t index = block.kidFor(key);
            auto [changed, added] = into(*block.kids[index]);
            std::vector<BlockPtr> kids = block.kids;
            kids[index] = std::move(changed);
            if (added)
                kids.insert(kids.begin() + static_cast<long>(index) + 1, std::move(added));
            if (kids.size() <= maxKids)
                return {Block::innerOf(std::move(kids)), nullptr};
            const bool appended = index + 2 == kids.size();
            auto [left, right] = split(std::move(kids), appended);
            return {Block::innerOf(std::move(left)), Block::innerOf(std::move(right))};
        }
    };

    if (!root_)
        return Children(Block::leafOf({Entry{std::move(key), std::move(value)}}));
    auto [first, second] = Insert{key, value}.into(*root_);
    if (!second)
        return Children(std::move(first));
    return Children(Block::innerOf({std::move(first), std::move(second)}));
}

Children Children::without(std::string_view key) const
{
    // Returns the block replacing `block`, nullptr when it is left empty, or `block` itself
    // when the key is not there.
    struct Erase
    {
        std::string_view key;

        BlockPtr from(const BlockPtr &block)
        {
            if (block->leaf()) {
                const std::size_t index = block->entryIndex(key);
                if (index == block->entries.size() || block->entries[index].key != key)
                    return block;
                if (block->entries.size() == 1)
                    return nullptr;
                std::vector<Entry> entries = block->entries;
                entries.erase(entries.begin() + static_cast<long>(index));
                return Block::leafOf(std::move(entries));
            }
            const std::size_t index = block->kidFor(key);
            BlockPtr changed = from(block->kids[index]);
            if (changed == block->kids[index])
                return block;
            std::vector<BlockPtr> kids = block->kids;
            if (changed)
                kids[index] = std::move(changed);
            else
                kids.erase(kids.begin() + static_cast<long>(index));
            // Blocks are not merged when they run low: the tree stays as deep as it was at
            // its largest, which costs a few steps, never correctness.
            if (kids.empty())
                return nullptr;
            if (kids.size() == 1)
                return kids.front();
            return Block::innerOf(std::move(kids));
        }
    };

    if (!root_)
        return *this;
    return Children(Erase{key}.from(root_));
}

Children Children::merged(std::vector<Entry> changes) const
{
    // A few changes go in one at a time, each copying the blocks on its way; many are merged
    // with all entries in one pass and the tree built anew.
    if (changes.size() * 16 < size()) {
        Children result = *this;
        for (auto &change : changes)
            result = change.value ? result.with(std::move(change.key), std::move(change.value))
                                  : result.without(change.key);
        return result;
    }
    std::vector<Entry> entries;
    entries.reserve(size() + changes.size());
    auto old = begin();
    auto change = changes.begin();
    while (old != end() || change != changes.end()) {
        const int order = old == end()              ? 1
                          : change == changes.end() ? -1
                                                    : compareKeys(old->key, change->key);
        if (order < 0) {
            entries.push_back(*old);
            ++old;
            continue;
        }
        if (change->value)
            entries.push_back(std::move(*change));
        if (order == 0)
            ++old;
        ++change;
    }
    return fromSorted(std::move(entries));
}

Children::Iterator Children::at(std::size_t index) const
{
    Iterator it;
    if (!root_ || index >= root_->count)
        return it;
    const Block *block = root_.get();
    while (!block->leaf()) {
        std::size_t kid = 0;
        while (index >= block->kids[kid]->count)
            index -= block->kids[kid++]->count;
        it.path_.emplace_back(block, kid);
        block = block->kids[kid].get();
    }
    it.path_.emplace_back(block, index);
    return it;
}

std::size_t Children::lowerBound(std::string_view key) const
{
    std::size_t before = 0;
    const Block *block = root_.get();
    if (!block)
        return 0;
    while (!block->leaf()) {
        // Every kid before the one that would hold `key` is wholly before it.
        const std::size_t kid = block->kidFor(key);
        for (std::size_t i = 0; i < kid; ++i)
            before += block->kids[i]->count;
        block = block->kids[kid].get();
    }
    return before + block->entryIndex(key);
}

std::size_t Children::upperBound(std::string_view key) const
{
    const std::size_t lower = lowerBound(key);
    const Iterator it = at(lower);
    return it != end() && it->key == key ? lower + 1 : lower;
}

const Children::Entry &Children::Iterator::operator*() const
{
    const auto &[block, index] = path_.back();
    return block->entries[index];
}

Children::Iterator &Children::Iterator::operator++()
{
    while (!path_.empty()) {
        auto &[block, index] = path_.back();
        const std::size_t size = block->leaf() ? block->entries.size() : block->kids.size();
        if (++index < size)
            break;
        path_.pop_back();
    }
    if (path_.empty())
        return *this;
    // Down the leftmost path of what follows.
    while (!path_.back().first->leaf()) {
        const auto &[block, index] = path_.back();
        path_.emplace_back(block->kids[index].get(), 0);
    }
    return *this;
}

bool Children::Iterator::operator==(const Iterator &other) const
{
    if (path_.empty() || other.path_.empty())
        return path_.empty() == other.path_.empty();
    return path_.back() == other.path_.back();
}

NodePtr Node::leaf(Json scalar)
{
    const std::size_t bytes = scalarBytes(scalar);
    return std::make_shared<const Node>(Private{}, std::move(scalar), Children(), bytes);
}

NodePtr Node::object(Children children)
{
    if (children.empty())
        return nullptr;
    const std::size_t bytes = children.bytes() + 2;
    return std::make_shared<const Node>(Private{}, Json(), std::move(children), bytes);
}

NodePtr Node::child(std::string_view key) const
{
    const NodePtr *found = children_.find(key);
    return found ? *found : nullptr;
}

bool sameValue(const NodePtr &a, const NodePtr &b)
{
    if (a == b)
        return true;
    if (!a || !b || a->isObject() != b->isObject() || a->bytes() != b->bytes())
        return false;
    if (!a->isObject())
        return a->scalar() == b->scalar();
    const Children &left = a->children();
    const Children &right = b->children();
    if (left.size() != right.size())
        return false;
    for (auto x = left.begin(), y = right.begin(); x != left.end(); ++x, ++y) {
        if (x->key != y->key || !sameValue(x->value, y->value))
            return false;
    }
    return true;
}

} // namespace tailwise::realtime
