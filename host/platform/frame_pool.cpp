// Loan bookkeeping of the frame sets.
//
// A block handle is generation << 8 | slot << 2 | frame, so that a handle of an earlier loan of the
// same slot is recognised as stale.
#include "host/platform/frame_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>

#include "host/platform/pass_observer.h"

namespace host {
namespace {

constexpr std::uint32_t kGenerationMask = 0x00ffffffu;
constexpr int kMaxSlots = 64;
// The library asks a thousand times a second, and looks for the files of its debug switches each
// time.
constexpr std::chrono::milliseconds kPatience{20};

std::atomic<FramePool*> active_pool{nullptr};

AVS_IVE_FRAME_S no_frame() {
    AVS_IVE_FRAME_S frame{};
    frame.vb_blk = VCA_VB_NONE;
    return frame;
}

}  // namespace

FramePool::FramePool(int slots) {
    if (slots < 1 || slots > kMaxSlots) throw std::invalid_argument("a pool has 1 to 64 slots");
    slots_.resize(static_cast<std::size_t>(slots));
    for (int i = 0; i < slots; ++i)
        free_.push_back(i);
}

int FramePool::acquire() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !free_.empty(); });
    const int slot = free_.front();
    free_.pop_front();
    return slot;
}

FramePlanes& FramePool::planes(int slot) {
    return slots_.at(static_cast<std::size_t>(slot)).planes;
}

void FramePool::submit(int slot, std::int64_t frame_number) {
    const std::lock_guard lock(mutex_);
    slots_.at(static_cast<std::size_t>(slot)).frame_number = frame_number;
    ready_.push_back(slot);
    filled_.notify_all();
}

std::optional<std::int64_t> FramePool::submit_newest(int slot, std::int64_t frame_number) {
    const std::lock_guard lock(mutex_);
    std::optional<std::int64_t> left_out;
    if (!ready_.empty()) {
        left_out = slots_[static_cast<std::size_t>(ready_.front())].frame_number;
        free_slot(ready_.front());
        ready_.pop_front();
    }
    slots_.at(static_cast<std::size_t>(slot)).frame_number = frame_number;
    ready_.push_back(slot);
    filled_.notify_all();
    return left_out;
}

void FramePool::wake_library() {
    const std::lock_guard lock(mutex_);
    woken_ = true;
    filled_.notify_all();
}

void FramePool::give_up(int slot) {
    const std::lock_guard lock(mutex_);
    free_.push_back(slot);
    changed_.notify_all();
}

void FramePool::wait_drained() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] {
        return std::all_of(slots_.begin(), slots_.end(),
                           [](const Slot& slot) { return slot.frame_number < 0; });
    });
}

AVS_IVE_ALL_S FramePool::take() {
    AVS_IVE_ALL_S set{};
    set.real = set.depth = set.raw = no_frame();
    std::int64_t frame_number = -1;
    {
        std::unique_lock lock(mutex_);
        filled_.wait_for(lock, kPatience, [this] { return !ready_.empty() || woken_; });
        woken_ = false;
        if (ready_.empty()) return set;
        const int index = ready_.front();
        ready_.pop_front();
        Slot& slot = slots_[static_cast<std::size_t>(index)];
        slot.generation = (slot.generation + 1) & kGenerationMask;
        set.real = lend(index, 0);
        set.depth = lend(index, 1);
        set.raw = lend(index, 2);
        frame_number = slot.frame_number;
        set.flag = static_cast<std::uint32_t>(frame_number + 1);
    }
    if (PassObserver* const observer = pass_observer()) observer->begin_pass(frame_number);
    return set;
}

namespace {

const std::vector<std::uint16_t>& lent_depth(const FramePlanes& planes) {
    return planes.lent_mm.empty() ? planes.raw_mm : planes.lent_mm;
}

}  // namespace

AVS_IVE_FRAME_S FramePool::lend(int slot_index, int frame) {
    Slot& slot = slots_[static_cast<std::size_t>(slot_index)];
    const auto f = static_cast<std::size_t>(frame);
    slot.block_out[f] = slot.mapped[f] = true;
    AVS_IVE_FRAME_S record{};
    record.word0 = static_cast<std::uint64_t>(slot.frame_number) + 1;
    record.vir_addr = reinterpret_cast<std::uint64_t>(plane_address(slot, frame));
    record.map_size = plane_bytes(slot, frame);
    record.vb_blk = slot.generation << 8 | static_cast<std::uint32_t>(slot_index) << 2 |
                    static_cast<std::uint32_t>(frame);
    return record;
}

const void* FramePool::plane_address(const Slot& slot, int frame) {
    if (frame == 0) return slot.planes.colour_nv12.data();
    if (frame == 1) return slot.planes.depth_nv12.data();
    return lent_depth(slot.planes).data();
}

std::uint32_t FramePool::plane_bytes(const Slot& slot, int frame) {
    if (frame == 0) return static_cast<std::uint32_t>(slot.planes.colour_nv12.size());
    if (frame == 1) return static_cast<std::uint32_t>(slot.planes.depth_nv12.size());
    return static_cast<std::uint32_t>(lent_depth(slot.planes).size() * sizeof(std::uint16_t));
}

int FramePool::release_block(std::uint32_t block) {
    bool all_back = false;
    const std::uint32_t index = block >> 2 & 0x3fu;
    {
        const std::lock_guard lock(mutex_);
        const std::uint32_t frame = block & 3u;
        if (frame >= kFrames || index >= slots_.size() || slots_[index].generation != block >> 8 ||
            !slots_[index].block_out[frame]) {
            ++errors_;
            return -1;
        }
        slots_[index].block_out[frame] = false;
        all_back = is_back(slots_[index]);
    }
    if (all_back) recycle(static_cast<int>(index));
    return 0;
}

int FramePool::unmap(const void* addr, std::uint32_t size) {
    int back = -1;
    {
        const std::lock_guard lock(mutex_);
        const auto [index, frame] = find_mapping(addr, size);
        if (index < 0) {
            ++errors_;
            return -1;
        }
        Slot& slot = slots_[static_cast<std::size_t>(index)];
        slot.mapped[static_cast<std::size_t>(frame)] = false;
        if (is_back(slot)) back = index;
    }
    if (back >= 0) recycle(back);
    return 0;
}

std::pair<int, int> FramePool::find_mapping(const void* addr, std::uint32_t size) const {
    for (std::size_t index = 0; index < slots_.size(); ++index) {
        const Slot& slot = slots_[index];
        for (int frame = 0; frame < kFrames; ++frame) {
            if (slot.mapped[static_cast<std::size_t>(frame)] &&
                plane_address(slot, frame) == addr && plane_bytes(slot, frame) == size) {
                return {static_cast<int>(index), frame};
            }
        }
    }
    return {-1, -1};
}

bool FramePool::is_back(const Slot& slot) {
    return std::none_of(slot.block_out.begin(), slot.block_out.end(), std::identity{}) &&
           std::none_of(slot.mapped.begin(), slot.mapped.end(), std::identity{});
}

// The observer hears of it before the slot counts as free, so that whoever waits for the pool to
// drain finds everything about the last set already recorded.
void FramePool::recycle(int slot_index) {
    Slot& slot = slots_[static_cast<std::size_t>(slot_index)];
    if (PassObserver* const observer = pass_observer()) observer->end_pass(slot.frame_number);
    const std::lock_guard lock(mutex_);
    slot.returned = true;
    if (!slot.held) free_slot(slot_index);
}

void FramePool::free_slot(int slot_index) {
    Slot& slot = slots_[static_cast<std::size_t>(slot_index)];
    slot.frame_number = -1;
    slot.returned = false;
    free_.push_back(slot_index);
    changed_.notify_all();
}

int FramePool::index_of(std::int64_t frame_number) const {
    const auto found = std::find_if(slots_.begin(), slots_.end(), [&](const Slot& slot) {
        return slot.frame_number == frame_number;
    });
    if (found == slots_.end()) throw std::logic_error("no frame set of this number is out");
    return static_cast<int>(found - slots_.begin());
}

void FramePool::hold(std::int64_t frame_number) {
    const std::lock_guard lock(mutex_);
    slots_[static_cast<std::size_t>(index_of(frame_number))].held = true;
}

const FramePlanes& FramePool::held(std::int64_t frame_number) const {
    const std::lock_guard lock(mutex_);
    return slots_[static_cast<std::size_t>(index_of(frame_number))].planes;
}

void FramePool::let_go(std::int64_t frame_number) {
    const std::lock_guard lock(mutex_);
    const int index = index_of(frame_number);
    Slot& slot = slots_[static_cast<std::size_t>(index)];
    slot.held = false;
    if (slot.returned) free_slot(index);
}

const FramePlanes* FramePool::on_loan(std::uint64_t frame_word) const {
    const std::lock_guard lock(mutex_);
    for (const Slot& slot : slots_) {
        const bool out = slot.block_out[0] || slot.block_out[1] || slot.block_out[2];
        if (out && static_cast<std::uint64_t>(slot.frame_number) + 1 == frame_word) {
            return &slot.planes;
        }
    }
    return nullptr;
}

LoanCounts FramePool::loans() const {
    const std::lock_guard lock(mutex_);
    LoanCounts counts;
    counts.errors = errors_;
    for (const Slot& slot : slots_) {
        for (std::size_t f = 0; f < kFrames; ++f) {
            counts.blocks += slot.block_out[f] ? 1 : 0;
            counts.mappings += slot.mapped[f] ? 1 : 0;
        }
    }
    return counts;
}

void set_frame_pool(FramePool* pool) {
    active_pool = pool;
}

FramePool* frame_pool() {
    return active_pool;
}

}  // namespace host

extern "C" {

AVS_IVE_ALL_S avs_read_all_ive(void) {
    host::FramePool* pool = host::frame_pool();
    if (pool != nullptr) return pool->take();
    AVS_IVE_ALL_S set{};
    set.real = set.depth = set.raw = host::no_frame();
    return set;
}

int ss_mpi_vb_release_blk(std::uint32_t block) {
    host::FramePool* pool = host::frame_pool();
    return pool == nullptr ? -1 : pool->release_block(block);
}

int ss_mpi_sys_munmap(void* addr, std::uint32_t size) {
    host::FramePool* pool = host::frame_pool();
    return pool == nullptr ? -1 : pool->unmap(addr, size);
}

}  // extern "C"
