#pragma once

// The equivalence table of a two-pass labelling scan: entry k of a provisional label k is the
// smallest label known to be equivalent to k (its representative); the background label 0
// stays apart. Merges are ordinary unions with the smallest label as root until a merge
// replaces a representative below its minimum; then only the labels above the minimum leave
// that class, which splits it, and from then on the classes are kept as treaps keyed by label,
// which split and join in logarithmic time instead of rewriting the table.
#include <cstdint>
#include <utility>
#include <vector>

namespace ORVA {

// The equivalence table of one plane. Entry k of the table the scan describes is
// Representative(k); Merge applies one merge step of the scan: every label k above `minimum`
// whose representative is one of `replaced` takes `minimum` as representative.
template <class Index>
class CLabelEquivalence {
  public:
    // Forgets every label but the background label 0.
    void Reset() {
        m_count = 0;
        m_treaps = false;
        m_parent.assign(1, 0);
        m_left.clear();
        m_right.clear();
        m_up.clear();
    }

    Index Count() const noexcept { return m_count; }
    // Whether a merge has split a class since the last Reset.
    bool HasSplit() const noexcept { return m_treaps; }

    Index NewLabel() {
        Index label = ++m_count;
        if (m_treaps) {
            m_left.push_back(0);
            m_right.push_back(0);
            m_up.push_back(0);
        } else {
            m_parent.push_back(label);
        }
        return label;
    }

    // Labels Count() + 1 to Count() + count (only while no class has been split).
    void NewLabels(Index count) {
        size_t size = m_parent.size();
        m_parent.resize(size + count);
        for (size_t k = size; k < m_parent.size(); ++k)
            m_parent[k] = static_cast<Index>(k);
        m_count += count;
    }

    Index Representative(Index label) {
        if (label == 0) return 0;
        if (!m_treaps) return Find(label);
        return Leftmost(Root(label));
    }

    // Joins the class of `label` with the class whose root is `root` (only while no class has
    // been split); returns the root of the joined class.
    Index JoinRoot(Index root, Index label) {
        Index other = Find(label);
        if (other < root) {
            m_parent[root] = other;
            return other;
        }
        if (other > root) m_parent[other] = root;
        return root;
    }

    // `minimum` and every entry of `replaced` are representatives; 0 and `minimum` itself are
    // ignored among `replaced`.
    void Merge(Index minimum, const Index* replaced, int count) {
        for (int i = 0; i < count; ++i) {
            Index s = replaced[i];
            if (s == 0 || s == minimum) continue;
            if (!m_treaps) {
                // A class above the minimum moves as a whole: an ordinary union.
                if (s > minimum) {
                    m_parent[s] = minimum;
                    continue;
                }
                BuildTreaps();
            }
            TreapMerge(minimum, s);
        }
    }

    // Replaces the table by the final numbers: entry k becomes the number of k's class (0 for
    // the background). Returns the number of classes; Numbers() then holds the entries.
    Index Resolve() {
        Index n = 0;
        if (m_treaps) {
            // The representative of every label, class by class.
            m_parent.assign(static_cast<size_t>(m_count) + 1, 0);
            std::vector<Index> stack;
            for (Index root = 1; root <= m_count; ++root) {
                if (m_up[root] != 0) continue;
                Index representative = Leftmost(root);
                stack.push_back(root);
                while (!stack.empty()) {
                    Index node = stack.back();
                    stack.pop_back();
                    m_parent[node] = representative;
                    if (m_left[node]) stack.push_back(m_left[node]);
                    if (m_right[node]) stack.push_back(m_right[node]);
                }
            }
        }
        // Representatives are never above their labels, so one ascending pass numbers them.
        Index* entry = m_parent.data();
        for (Index k = 1; k <= m_count; ++k) {
            Index representative = entry[k];
            entry[k] = representative == k ? ++n : entry[representative];
        }
        return n;
    }
    const Index* Numbers() const noexcept { return m_parent.data(); }

  private:
    // Path halving keeps every parent below its child.
    Index Find(Index k) {
        Index* parent = m_parent.data();
        for (Index p = parent[k]; p != k; p = parent[k]) {
            Index grandparent = parent[p];
            if (grandparent == p) return p;
            parent[k] = grandparent;
            k = grandparent;
        }
        return k;
    }

    // ---- treaps: one per class, keyed by label, a max-heap on a hash of the label ----

    static uint64_t Priority(Index k) {
        uint64_t x = static_cast<uint64_t>(k) + 0x9e3779b97f4a7c15ull;
        x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
        x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
        return x ^ (x >> 31);
    }
    static bool Above(Index a, Index b) {
        uint64_t pa = Priority(a), pb = Priority(b);
        return pa != pb ? pa > pb : a > b;
    }

    Index Root(Index node) const {
        while (m_up[node] != 0)
            node = m_up[node];
        return node;
    }
    Index Leftmost(Index node) const {
        while (m_left[node] != 0)
            node = m_left[node];
        return node;
    }
    void SetLeft(Index node, Index child) {
        m_left[node] = child;
        if (child) m_up[child] = node;
    }
    void SetRight(Index node, Index child) {
        m_right[node] = child;
        if (child) m_up[child] = node;
    }

    // The labels of `tree` up to `key`, and those above it.
    std::pair<Index, Index> SplitTree(Index tree, Index key) {
        if (tree == 0) return {0, 0};
        if (tree <= key) {
            auto [low, high] = SplitTree(m_right[tree], key);
            SetRight(tree, low);
            return {tree, high};
        }
        auto [low, high] = SplitTree(m_left[tree], key);
        SetLeft(tree, high);
        return {low, tree};
    }

    // Two trees with disjoint labels as one.
    Index Unite(Index a, Index b) {
        if (a == 0) return b;
        if (b == 0) return a;
        if (Above(b, a)) std::swap(a, b);
        auto [low, high] = SplitTree(b, a);
        SetLeft(a, Unite(m_left[a], low));
        SetRight(a, Unite(m_right[a], high));
        return a;
    }

    void TreapMerge(Index minimum, Index replaced) {
        Index target = Root(minimum);
        Index source = Root(replaced);
        if (target == source) return;  // named twice in one merge, and already moved
        if (replaced > minimum) {
            Index root = Unite(target, source);
            m_up[root] = 0;
            return;
        }
        // Only the labels above the minimum leave the replaced class.
        auto [stay, leave] = SplitTree(source, minimum);
        m_up[stay] = 0;
        Index root = Unite(target, leave);
        m_up[root] = 0;
    }

    // Turns the union-find forest into one treap per class. Labels arrive in ascending order,
    // so each is appended at the right end of its class's treap.
    void BuildTreaps() {
        size_t size = static_cast<size_t>(m_count) + 1;
        m_left.assign(size, 0);
        m_right.assign(size, 0);
        m_up.assign(size, 0);
        std::vector<Index> rightmost(size, 0);
        Index* representative = m_parent.data();
        for (Index k = 1; k <= m_count; ++k) {
            Index parent = representative[k];
            Index r = parent == k ? k : representative[parent];
            representative[k] = r;
            Index node = rightmost[r], below = 0;
            while (node != 0 && Above(k, node)) {
                below = node;
                node = m_up[node];
            }
            SetLeft(k, below);
            m_up[k] = node;
            if (node) m_right[node] = k;
            rightmost[r] = k;
        }
        m_parent.assign(1, 0);
        m_treaps = true;
    }

    Index m_count = 0;
    bool m_treaps = false;
    std::vector<Index> m_parent{0};
    std::vector<Index> m_left, m_right, m_up;
};

}  // namespace ORVA
