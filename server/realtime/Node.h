#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tailwise::realtime {

using Json = nlohmann::json;

class Node;
// A stored value; nullptr is an absent location. Nodes never change once built, so any
// number of readers, streams and snapshots share them without copying or locking.
using NodePtr = std::shared_ptr<const Node>;

// Default child order (also orderBy="$key"): keys that read as 32-bit integers first,
// numerically, the shorter text first among equal numbers; then the rest as byte strings.
int compareKeys(std::string_view a, std::string_view b);

// The children of an object in key order: an immutable B+tree. A changed version copies only
// the blocks on the way to the change and shares all others with the version before, so a
// write costs the same whether a location has ten children or a million.
class Children
{
    struct Block;
    using BlockPtr = std::shared_ptr<const Block>;

public:
    struct Entry
    {
        std::string key;
        NodePtr value; // never null in a Children
    };

    class Iterator
    {
    public:
        const Entry &operator*() const;
        const Entry *operator->() const { return &**this; }
        Iterator &operator++();
        bool operator==(const Iterator &other) const;

    private:
        friend class Children;
        // The blocks from the root down to the current leaf, with the index taken in each;
        // empty at the end.
        std::vector<std::pair<const Block *, std::size_t>> path_;
    };

    Children() = default;
    // `entries` sorted by compareKeys, keys unique.
    static Children fromSorted(std::vector<Entry> entries);

    std::size_t size() const;
    bool empty() const { return !root_; }
    // What the entries take as JSON text: keys, values and punctuation.
    std::size_t bytes() const;

    const NodePtr *find(std::string_view key) const;
    // A version with `key` set to `value` (not null), or without `key`.
    Children with(std::string key, NodePtr value) const;
    Children without(std::string_view key) const;
    // A version with many keys changed at once: `changes` in key order, keys unique, a null
    // value removes the key. Costs one pass over the children when the changes are many.
    Children merged(std::vector<Entry> changes) const;

    Iterator begin() const { return at(0); }
    Iterator end() const { return {}; }
    // The entry at position `index` in key order; end() past the last.
    Iterator at(std::size_t index) const;
    // How many entries order before `key` (lower) or not after it (upper).
    std::size_t lowerBound(std::string_view key) const;
    std::size_t upperBound(std::string_view key) const;

private:
    explicit Children(BlockPtr root) : root_(std::move(root)) {}

    BlockPtr root_;
};

class Node
{
    struct Private
    {};

public:
    // A string, number or boolean.
    static NodePtr leaf(Json scalar);
    // nullptr when there are no children: an empty object is an absent location.
    static NodePtr object(Children children);

    Node(Private, Json scalar, Children children, std::size_t bytes)
        : scalar_(std::move(scalar)), children_(std::move(children)), bytes_(bytes)
    {}

    bool isObject() const { return !children_.empty(); }
    // Leaves only.
    const Json &scalar() const { return scalar_; }
    // Objects only (empty for a leaf).
    const Children &children() const { return children_; }
    NodePtr child(std::string_view key) const;
    // The value's size as stored JSON text.
    std::size_t bytes() const { return bytes_; }

private:
    Json scalar_;
    Children children_;
    std::size_t bytes_;
};

// Deep equality; shared subtrees compare at once.
bool sameValue(const NodePtr &a, const NodePtr &b);

} // namespace tailwise::realtime
