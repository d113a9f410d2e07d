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

// Open addressing with linear probing; a table at most three quarters full of the first
// association made for each node (as Xalan's map keeps the first).
//
// A wrapper associates every node as it is built and looks nodes up only afterwards, so
// associations are kept in arrival order and enter the table on the first lookup, all at once:
// grouped by the region of the table they hash to, so that the table is written region by region
// instead of at random (at a million nodes, the table no longer fits any cache). A wrapper built
// for reading from several threads is looked up concurrently: the first lookup settles the
// pending associations under a lock, and later ones see them settled.
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
        std::vector<Slot>().swap(pending_);
        settled_.store(true, std::memory_order_release);
        size_ = 0;
        hasNull_ = false;
        nullValue_ = nullptr;
    }

private:
    struct Slot {
        XercesNode const* key = nullptr;
        XalanNode* value = nullptr;
    };

    static std::size_t hash(XercesNode const* key) noexcept {
        auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
        bits ^= bits >> 33; // a 64-bit finaliser: every bit of the address reaches the low bits
        bits *= 0xff51afd7ed558ccdULL;
        bits ^= bits >> 33;
        return static_cast<std::size_t>(bits);
    }

    // The key's slot, or the empty slot where it belongs.
    std::size_t position(XercesNode const* key) const noexcept {
        std::size_t const mask = slots_.size() - 1;
        std::size_t index = hash(key) & mask;
        while (slots_[index].key != nullptr && slots_[index].key != key) {
            index = (index + 1) & mask;
        }
        return index;
    }

    void insert(Slot const& entry) const noexcept {
        Slot& slot = slots_[position(entry.key)];
        if (slot.key == nullptr) {
            slot = entry;
            ++size_;
        }
    }

    // Puts the pending associations in the table, grown first to hold them all.
    void settle() const {
        if (settled_.load(std::memory_order_acquire)) {
            return;
        }
        std::lock_guard<std::mutex> const lock(settling_);
        if (settled_.load(std::memory_order_relaxed)) {
            return;
        }
        std::size_t slots = std::max<std::size_t>(64, slots_.size());
        while ((size_ + pending_.size()) * 4 > slots * 3) {
            slots *= 2;
        }
        if (slots != slots_.size()) {
            std::vector<Slot> old(slots);
            old.swap(slots_);
            size_ = 0;
            for (Slot const& slot : old) {
                if (slot.key != nullptr) {
                    insert(slot);
                }
            }
        }
        // A stable distribution by the top bits of each key's first slot: arrival order is kept
        // within a region, so the first association of a node still wins.
        constexpr std::size_t regionBits = 12;
        std::size_t shift = 0;
        while ((slots >> shift) > (std::size_t{1} << regionBits)) {
            ++shift;
        }
        std::vector<std::size_t> starts((slots >> shift) + 1, 0);
        for (Slot const& entry : pending_) {
            ++starts[((hash(entry.key) & (slots - 1)) >> shift) + 1];
        }
        for (std::size_t i = 1; i < starts.size(); ++i) {
            starts[i] += starts[i - 1];
        }
        std::vector<Slot> ordered(pending_.size());
        for (Slot const& entry : pending_) {
            ordered[starts[(hash(entry.key) & (slots - 1)) >> shift]++] = entry;
        }
        std::vector<Slot>().swap(pending_);
        for (Slot const& entry : ordered) {
            insert(entry);
        }
        settled_.store(true, std::memory_order_release);
    }

    mutable std::vector<Slot> slots_; // a power of two in size
    mutable std::size_t size_ = 0;
    mutable std::vector<Slot> pending_; // associations not yet in the table, in arrival order
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

NodeTable& nodeTable(XercesWrapperToXalanNodeMap::XercesNodeMapType const& member,
                     XercesWrapperToXalanNodeMap const* owner) noexcept {
    return *reinterpret_cast<NodeTable*>(member.find(tableKey(owner))->second);
}

} // namespace

TRANS_EXPORT XercesWrapperToXalanNodeMap::XercesWrapperToXalanNodeMap(MemoryManager& theManager)
    : m_xercesMap(theManager) {
    auto table = std::make_unique<NodeTable>();
    m_xercesMap.insert(tableKey(this), reinterpret_cast<XalanNode*>(table.get()));
    table.release(); // owned through the entry from here on
}

TRANS_EXPORT XercesWrapperToXalanNodeMap::~XercesWrapperToXalanNodeMap() {
    std::unique_ptr<NodeTable> const owned(&nodeTable(m_xercesMap, this));
}

TRANS_EXPORT void XercesWrapperToXalanNodeMap::addAssociation(DOMNodeType const* theXercesNode,
                                                              XalanNode* theXalanNode) {
    nodeTable(m_xercesMap, this).add(theXercesNode, theXalanNode);
}

TRANS_EXPORT void XercesWrapperToXalanNodeMap::clear() {
    nodeTable(m_xercesMap, this).clear();
}

TRANS_EXPORT XalanNode*
XercesWrapperToXalanNodeMap::getNode(DOMNodeType const* theXercesNode) const {
    return nodeTable(m_xercesMap, this).find(theXercesNode);
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
