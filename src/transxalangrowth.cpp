// Two functions of Xalan-C whose cost grows with the square of the input, replaced by ones that
// grow linearly and give the same results.
//
// Both are exported functions that Xalan itself calls through its symbol table, so this library
// defines the same symbols: loaded before Xalan (it depends on it), its definitions are the ones
// the process uses, for Xalan's own calls as well (see transnumbertext.cpp for the same approach).
//
// - The bridged view of a Xerces-C document keeps a map from each Xerces node to its wrapper.
//   Xalan's map hashes a pointer by folding its bytes into about 16 bits, whatever the table's
//   size, so its chains grow with the node count and wrapping a document takes quadratic time.
//   The map object's member functions are replaced as a group; the associations live in a table
//   of our own that hashes the whole pointer. The object's own map member (whose type and hasher
//   are fixed) holds a single entry, keyed by the object's own address, that points to that
//   table: no Xerces node can lie at that address, and nothing else reads the member.
// - Appending to a non-empty string inserts before its terminating null character, and Xalan's
//   vector grows to exactly the new size when it inserts anywhere but at its end: every append
//   copies the whole string, so the string value of a large node (its text nodes appended one by
//   one) takes quadratic time. The replacement reallocates geometrically; the characters are the
//   same.
#include "transexport.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>
#include <xalanc/Include/PlatformDefinitions.hpp>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XercesParserLiaison/XercesWrapperToXalanNodeMap.hpp>

namespace {

using xalanc::XalanNode;
using XercesNode = xercesc::DOMNode;

// A table of the first association made for each node (as Xalan's map keeps the first), split into
// regions by the top bits of the key's hash; each region is open-addressed with linear probing and
// at most three quarters full.
//
// A wrapper associates every node as it is built and looks nodes up only afterwards, so
// associations are kept in arrival order and enter the table on the first lookup, all at once. They
// are sorted by region into the table's own room (a region's share of the room is larger than its
// count, so each sorted run lies at or before its region), then each region, from the last, takes
// its run and places it: the table is written region by region instead of at random (at a million
// nodes it no longer fits any cache), and no memory beyond the table and the arrivals is needed. A
// wrapper built for reading from several threads is looked up concurrently: the first lookup
// settles the pending associations under a lock, and later ones see them settled.
class NodeTable {
public:
    void add(XercesNode const* key, XalanNode* value) {
        if (key == nullptr) {
            if (! hasNull_) {
                hasNull_ = true;
                nullValue_ = value;
            }
            return;
        }
        pending_.push_back({key, value});
        settled_.store(false, std::memory_order_release);
    }

    XalanNode* find(XercesNode const* key) const {
        if (key == nullptr) {
            return hasNull_ ? nullValue_ : nullptr;
        }
        settle();
        if (slots_.empty()) {
            return nullptr;
        }
        return slots_[position(key)].value;
    }

    void clear() noexcept {
        std::vector<Slot>().swap(slots_);
        std::vector<std::size_t>().swap(offsets_);
        pending_.clear();
        settled_.store(true, std::memory_order_release);
        hasNull_ = false;
        nullValue_ = nullptr;
    }

private:
    struct Slot {
        XercesNode const* key = nullptr;
        XalanNode* value = nullptr;
    };

    // Associations in arrival order, in blocks that double up to a limit: growing never copies
    // them, and a small document takes a small block.
    class Arrivals {
    public:
        void push_back(Slot const& entry) {
            if (blocks_.empty() || blocks_.back().used == blocks_.back().size) {
                std::size_t const size =
                    blocks_.empty() ? firstBlock : std::min(2 * blocks_.back().size, largestBlock);
                blocks_.push_back({std::make_unique<Slot[]>(size), size, 0});
            }
            Block& block = blocks_.back();
            block.slots[block.used++] = entry;
        }
        std::size_t size() const noexcept {
            std::size_t total = 0;
            for (Block const& block : blocks_) {
                total += block.used;
            }
            return total;
        }
        template <typename Visit>
        void forEach(Visit visit) const {
            for (Block const& block : blocks_) {
                std::for_each(block.slots.get(), block.slots.get() + block.used, visit);
            }
        }
        void clear() noexcept { std::vector<Block>().swap(blocks_); }

    private:
        static constexpr std::size_t firstBlock = 256;
        static constexpr std::size_t largestBlock = std::size_t{1} << 16;
        struct Block {
            std::unique_ptr<Slot[]> slots;
            std::size_t size;
            std::size_t used;
        };
        std::vector<Block> blocks_;
    };

    static std::uint64_t hash(XercesNode const* key) noexcept {
        auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
        bits ^= bits >> 33; // a 64-bit finaliser: every bit of the address reaches every bit
        bits *= 0xff51afd7ed558ccdULL;
        bits ^= bits >> 33;
        return bits;
    }

    // The bits scaled to 0 .. count - 1.
    static std::size_t scaled(std::uint64_t bits, std::size_t count) noexcept {
        __extension__ using Wide = unsigned __int128;
        return static_cast<std::size_t>((static_cast<Wide>(bits) * count) >> 64);
    }

    // The region is chosen by the top bits of the hash, the first slot in it by the others.
    static constexpr unsigned regionBits = 12;
    static constexpr std::size_t mostRegions = std::size_t{1} << regionBits;

    std::size_t regionOf(std::uint64_t bits) const noexcept {
        return scaled(bits, offsets_.size() - 1);
    }

    // The key's slot, or the empty slot where it belongs.
    std::size_t position(XercesNode const* key) const noexcept {
        std::uint64_t const bits = hash(key);
        std::size_t const region = regionOf(bits);
        std::size_t const first = offsets_[region];
        std::size_t const size = offsets_[region + 1] - first;
        std::size_t index = scaled(bits << regionBits, size);
        while (slots_[first + index].key != nullptr && slots_[first + index].key != key) {
            index = index + 1 == size ? 0 : index + 1;
        }
        return first + index;
    }

    // Puts the pending associations in the table, after those already there.
    void settle() const {
        if (settled_.load(std::memory_order_acquire)) {
            return;
        }
        std::lock_guard<std::mutex> const lock(settling_);
        if (settled_.load(std::memory_order_relaxed)) {
            return;
        }
        if (! slots_.empty()) {
            // Associations after lookups (rare): the table is made again, its own first.
            Arrivals all;
            for (Slot const& slot : slots_) {
                if (slot.key != nullptr) {
                    all.push_back(slot);
                }
            }
            pending_.forEach([&all](Slot const& entry) { all.push_back(entry); });
            std::swap(all, pending_);
        }
        std::size_t const count = pending_.size();
        std::size_t const regions = std::min(mostRegions, std::max<std::size_t>(1, count / 256));
        offsets_.assign(regions + 1, 0);
        // Counts per region, then where each region's run starts once sorted.
        std::vector<std::size_t> runs(regions + 1, 0);
        pending_.forEach([&](Slot const& entry) { ++runs[regionOf(hash(entry.key)) + 1]; });
        for (std::size_t region = 0; region < regions; ++region) {
            std::size_t const entries = runs[region + 1];
            offsets_[region + 1] = offsets_[region] + entries + entries / 3 + 1;
            runs[region + 1] += runs[region];
        }
        slots_.assign(offsets_.back(), Slot{});
        // A stable sort by region: arrival order is kept within a region, so the first
        // association of a node still wins.
        std::vector<std::size_t> next(runs.begin(), runs.end() - 1);
        pending_.forEach(
            [&](Slot const& entry) { slots_[next[regionOf(hash(entry.key))]++] = entry; });
        pending_.clear();
        // From the last region down, each run lies below the room of the regions not yet placed.
        std::vector<Slot> run;
        for (std::size_t region = regions; region-- > 0;) {
            run.assign(slots_.begin() + static_cast<std::ptrdiff_t>(runs[region]),
                       slots_.begin() + static_cast<std::ptrdiff_t>(runs[region + 1]));
            std::fill(slots_.begin() + static_cast<std::ptrdiff_t>(offsets_[region]),
                      slots_.begin() + static_cast<std::ptrdiff_t>(offsets_[region + 1]), Slot{});
            for (Slot const& entry : run) {
                Slot& slot = slots_[position(entry.key)];
                if (slot.key == nullptr) {
                    slot = entry;
                }
            }
        }
        settled_.store(true, std::memory_order_release);
    }

    mutable std::vector<Slot> slots_;
    mutable std::vector<std::size_t> offsets_; // where each region starts, and the end
    mutable Arrivals pending_;
    mutable std::atomic<bool> settled_{true};
    mutable std::mutex settling_;
    bool hasNull_ = false;
    XalanNode* nullValue_ = nullptr;
};

} // namespace

namespace XALAN_CPP_NAMESPACE {

namespace {

// The key of the map member's one entry: the address of the object that holds the member.
XercesNode const* tableKey(XercesWrapperToXalanNodeMap const* owner) noexcept {
    return reinterpret_cast<XercesNode const*>(owner);
}

// The member's one entry is its first: reached without hashing, on every association and lookup.
NodeTable& nodeTable(XercesWrapperToXalanNodeMap::XercesNodeMapType const& member) noexcept {
    return *reinterpret_cast<NodeTable*>(member.begin()->second);
}

} // namespace

TRANS_EXPORT XercesWrapperToXalanNodeMap::XercesWrapperToXalanNodeMap(MemoryManager& theManager)
    : m_xercesMap(theManager) {
    auto table = std::make_unique<NodeTable>();
    m_xercesMap.insert(tableKey(this), reinterpret_cast<XalanNode*>(table.get()));
    table.release(); // owned through the entry from here on
}

TRANS_EXPORT XercesWrapperToXalanNodeMap::~XercesWrapperToXalanNodeMap() {
    std::unique_ptr<NodeTable> const owned(&nodeTable(m_xercesMap));
}

TRANS_EXPORT void XercesWrapperToXalanNodeMap::addAssociation(DOMNodeType const* theXercesNode,
                                                              XalanNode* theXalanNode) {
    nodeTable(m_xercesMap).add(theXercesNode, theXalanNode);
}

TRANS_EXPORT void XercesWrapperToXalanNodeMap::clear() {
    nodeTable(m_xercesMap).clear();
}

TRANS_EXPORT XalanNode*
XercesWrapperToXalanNodeMap::getNode(DOMNodeType const* theXercesNode) const {
    return nodeTable(m_xercesMap).find(theXercesNode);
}

TRANS_EXPORT XalanDOMString& XalanDOMString::append(XalanDOMChar const* theString,
                                                    size_type theCount) {
    if (theCount == npos) {
        theCount = length(theString);
    }
    if (theCount == 0) {
        return *this;
    }
    if (m_data.empty()) {
        m_data.reserve(theCount + 1);
        m_data.insert(m_data.end(), theString, theString + theCount);
        m_data.push_back(0);
        m_size = theCount;
        return *this;
    }
    size_type const needed = m_data.size() + theCount;
    if (needed > m_data.capacity()) {
        // A new vector, filled before the old one goes: theString may lie in this string.
        XalanDOMCharVectorType grown(m_data.getMemoryManager(),
                                     std::max(needed, 2 * m_data.capacity()));
        grown.insert(grown.end(), m_data.begin(), m_data.end() - 1);
        grown.insert(grown.end(), theString, theString + theCount);
        grown.push_back(0);
        m_data.swap(grown);
    } else {
        m_data.insert(m_data.end() - 1, theString, theString + theCount);
    }
    m_size += theCount;
    return *this;
}

} // namespace XALAN_CPP_NAMESPACE
