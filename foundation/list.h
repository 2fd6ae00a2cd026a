#pragma once

// List: a doubly linked list of pointers to items with a cursor inside.
//
// A list is told at its making whether it owns its items; an owning one deletes them in RemoveAll
// and when it goes. Remove always hands the item back undeleted, to the caller's care. Freed nodes
// are kept for the next insertion, so a queue that is filled and emptied again takes no new memory.
// begin() and end() walk without touching the cursor. One thread at a time.

#include <cstdint>
#include <memory>

namespace ovrasql {

enum class ListPlace : int32_t { kHead = 0, kCursor = 1, kTail = 2 };

template <class Item>
class List {
  public:
    explicit List(bool ownsItems) : ownsItems_(ownsItems) {}
    ~List() {
        RemoveAll();
        FreeSpareNodes();
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    // Puts the item at the head, before the cursor (at the tail when the cursor is nowhere) or at
    // the tail. The new node becomes the cursor.
    void Insert(Item* item, ListPlace place) {
        std::unique_ptr<Item> guard(ownsItems_ ? item : nullptr);
        Node* node = NewNode(item);
        static_cast<void>(guard.release());
        Node* after = place == ListPlace::kHead     ? head_
                      : place == ListPlace::kCursor ? cursor_
                                                    : nullptr;
        LinkBefore(node, after);
        cursor_ = node;
        ++count_;
    }
    void Insert(std::unique_ptr<Item> item, ListPlace place) { Insert(item.release(), place); }

    // Takes a node out and hands its item back. At the head a cursor there moves to the new head,
    // at the cursor it moves to the next node, at the tail a cursor there moves to the one before.
    // Required: the count falls before the list is looked at, so a removal from an empty list gives
    // null and leaves a count of -1.
    [[nodiscard]] Item* Remove(ListPlace place) {
        --count_;
        Node* node = place == ListPlace::kHead     ? head_
                     : place == ListPlace::kCursor ? cursor_
                                                   : tail_;
        if (node == nullptr) {
            return nullptr;
        }
        if (node == cursor_) {
            cursor_ = place == ListPlace::kTail ? node->previous : node->next;
        }
        Unlink(node);
        Item* item = node->item;
        KeepSpare(node);
        return item;
    }

    [[nodiscard]] int32_t Count() const { return count_; }
    [[nodiscard]] bool OwnsItems() const { return ownsItems_; }

    // Looks for this very item from the head on. A match becomes the cursor.
    Item* Find(const Item* item) {
        for (Node* node = head_; node != nullptr; node = node->next) {
            if (node->item == item) {
                cursor_ = node;
                return node->item;
            }
        }
        return nullptr;
    }

    // Each moves the cursor and gives the item there, or null when there is none. Next and Previous
    // move a cursor past the end to nowhere, where it stays.
    Item* First() { return MoveTo(head_); }
    Item* Last() { return MoveTo(tail_); }
    [[nodiscard]] Item* Current() const { return cursor_ == nullptr ? nullptr : cursor_->item; }
    Item* Next() { return MoveTo(cursor_ == nullptr ? nullptr : cursor_->next); }
    Item* Previous() { return MoveTo(cursor_ == nullptr ? nullptr : cursor_->previous); }

    // Empties the list and deletes the items when it owns them.
    void RemoveAll() {
        while (head_ != nullptr) {
            Node* node = head_;
            Item* item = node->item;
            Unlink(node);
            KeepSpare(node);
            if (ownsItems_) {
                DeleteItem(item);
            }
        }
        Forget();
    }

    // Deletes one item; null is passed over.
    void DeleteItem(Item* item) { delete item; }

    // Empties the list and leaves the items alone, owned or not.
    void Clear() {
        while (head_ != nullptr) {
            Node* node = head_;
            Unlink(node);
            KeepSpare(node);
        }
        Forget();
    }

  private:
    struct Node {
        Node* previous;
        Node* next;
        Item* item;
    };

  public:
    class Walk {
      public:
        explicit Walk(const Node* node) : node_(node) {}
        Item* operator*() const { return node_->item; }
        Walk& operator++() {
            node_ = node_->next;
            return *this;
        }
        bool operator!=(const Walk& other) const { return node_ != other.node_; }

      private:
        const Node* node_;
    };
    [[nodiscard]] Walk begin() const { return Walk(head_); }
    [[nodiscard]] Walk end() const { return Walk(nullptr); }

  private:
    Item* MoveTo(Node* node) {
        cursor_ = node;
        return Current();
    }

    void Forget() {
        tail_ = nullptr;
        cursor_ = nullptr;
        count_ = 0;
    }

    // A null `after` stands for the place behind the tail.
    void LinkBefore(Node* node, Node* after) {
        node->next = after;
        node->previous = after == nullptr ? tail_ : after->previous;
        (node->previous == nullptr ? head_ : node->previous->next) = node;
        (after == nullptr ? tail_ : after->previous) = node;
    }

    void Unlink(Node* node) {
        (node->previous == nullptr ? head_ : node->previous->next) = node->next;
        (node->next == nullptr ? tail_ : node->next->previous) = node->previous;
    }

    Node* NewNode(Item* item) {
        Node* node = spare_;
        if (node == nullptr) {
            return new Node{nullptr, nullptr, item};
        }
        spare_ = node->next;
        node->item = item;
        return node;
    }

    void KeepSpare(Node* node) {
        node->item = nullptr;
        node->next = spare_;
        spare_ = node;
    }

    void FreeSpareNodes() {
        while (spare_ != nullptr) {
            Node* node = spare_;
            spare_ = node->next;
            delete node;
        }
    }

    bool ownsItems_;
    int32_t count_ = 0;
    Node* head_ = nullptr;
    Node* cursor_ = nullptr;
    Node* tail_ = nullptr;
    Node* spare_ = nullptr;
};

}  // namespace ovrasql
