#pragma once
// Handles with generations. A handle packs a kind (so that a sync handle is never taken for a
// stream), a generation and a slot index; freeing a slot bumps its generation, so that every copy
// of the old handle the console still holds becomes stale and finds nothing.
//
// Not thread-safe: the engine guards each table with its own API mutex. Never used by the audio
// callback.

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/engine.h"

namespace tw::audio {

enum class HandleKind : std::uint32_t { Channel = 1, Sync = 2, Fx = 3, Encoder = 4, Record = 5 };

template <typename T>
class HandleTable {
  public:
    explicit HandleTable(HandleKind kind) : kind_(static_cast<std::uint32_t>(kind)) {}

    // Stores an object; returns its handle, or 0 when the table is full.
    Handle add(std::shared_ptr<T> object) {
        std::uint32_t index;
        if (!free_.empty()) {
            index = free_.back();
            free_.pop_back();
        } else {
            if (slots_.size() >= kMaxSlots) {
                return 0;
            }
            index = static_cast<std::uint32_t>(slots_.size());
            slots_.push_back({});
        }
        slots_[index].object = std::move(object);
        return pack(index, slots_[index].generation);
    }

    // The object behind a handle, or null for a zero, stale or foreign handle.
    std::shared_ptr<T> get(Handle h) const {
        const Slot* slot = find(h);
        return slot ? slot->object : nullptr;
    }

    // Removes the object and makes every copy of the handle stale. Returns the object, or null.
    std::shared_ptr<T> remove(Handle h) {
        Slot* slot = const_cast<Slot*>(find(h));
        if (!slot) {
            return nullptr;
        }
        std::shared_ptr<T> object = std::move(slot->object);
        slot->object.reset();
        slot->generation = (slot->generation + 1) & kGenerationMask;
        if (slot->generation == 0) {
            slot->generation = 1;
        }
        free_.push_back(static_cast<std::uint32_t>(slot - slots_.data()));
        return object;
    }

    // How many objects the table holds.
    std::size_t size() const { return slots_.size() - free_.size(); }

    // Every live handle, in slot order.
    std::vector<Handle> handles() const {
        std::vector<Handle> out;
        for (std::uint32_t i = 0; i < slots_.size(); ++i) {
            if (slots_[i].object) {
                out.push_back(pack(i, slots_[i].generation));
            }
        }
        return out;
    }

  private:
    // 12 bits of slot (far more objects than the console ever holds at once) leave 16 bits of
    // generation, so that a slot is reused 65535 times before an old handle could name it again.
    static constexpr std::uint32_t kMaxSlots = 0xFFF;
    static constexpr std::uint32_t kGenerationMask = 0xFFFF;

    struct Slot {
        std::uint32_t generation = 1;
        std::shared_ptr<T> object;
    };

    Handle pack(std::uint32_t index, std::uint32_t generation) const {
        return (kind_ << 28) | (generation << 12) | (index + 1);
    }

    const Slot* find(Handle h) const {
        if (h == 0 || (h >> 28) != kind_) {
            return nullptr;
        }
        const std::uint32_t index = (h & 0xFFF) - 1;
        if (index >= slots_.size()) {
            return nullptr;
        }
        const Slot& slot = slots_[index];
        if (!slot.object || slot.generation != ((h >> 12) & kGenerationMask)) {
            return nullptr;
        }
        return &slot;
    }

    std::uint32_t kind_;
    std::vector<Slot> slots_;
    std::vector<std::uint32_t> free_;
};

}  // namespace tw::audio
