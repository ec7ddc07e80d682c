// The pool of frame sets that the library borrows from: it knows which blocks are on loan and which
// frames are mapped, and is unharmed by handles that were given back twice or never existed.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "vca/platform.h"

namespace host {

// Pictures as a sensor took them, where the frame set was made from them.
struct TakenPictures {
    int width = 0;  // of the depth picture; 0: the frame set is what was taken
    int height = 0;
    std::vector<std::uint16_t> depth_mm;
    std::vector<std::uint8_t> colour_nv12;  // 960 x 544 x 3/2; empty: that of the frame set
};

// The pixels of one synchronised frame set.
struct FramePlanes {
    std::vector<std::uint8_t> colour_nv12;  // 960 x 544 x 3/2
    std::vector<std::uint8_t> depth_nv12;   // 480 x 256 x 3/2, depth rendered as grey
    std::vector<std::uint16_t> raw_mm;      // 480 x 256 millimetres, 0 where missing
    std::vector<std::uint16_t> lent_mm;     // what the library gets in its place; empty: the same
    TakenPictures taken;
    bool blank = false;  // fed after the end of the source: left out of records
};

// What is still out, and what was given back wrongly.
struct LoanCounts {
    int blocks = 0;    // handed out and not released
    int mappings = 0;  // handed out and not unmapped
    int errors = 0;    // releases of unknown or already released blocks and mappings
};

class FramePool {
  public:
    explicit FramePool(int slots);

    // Producer side. Waits for a free slot.
    int acquire();
    // The pixels of an acquired slot, to be filled before submit().
    FramePlanes& planes(int slot);
    // Queues an acquired slot; frame_number is at least 0 and names the set from here on.
    void submit(int slot, std::int64_t frame_number);
    // Likewise, but replaces a set that is queued and not yet borrowed; returns the number of the
    // set it replaced, if there was one.
    std::optional<std::int64_t> submit_newest(int slot, std::int64_t frame_number);
    // Puts an acquired slot back unused.
    void give_up(int slot);
    // Waits until every submitted set has been borrowed, given back and let go.
    void wait_drained();

    // Library side. Without a queued set it waits a moment for one, since the library asks again at
    // once; then all three blocks are VCA_VB_NONE.
    AVS_IVE_ALL_S take();
    int release_block(std::uint32_t block);
    int unmap(const void* addr, std::uint32_t size);
    // Ends the wait in take(), in which the library holds the mutex that its handlers need.
    void wake_library();

    // The pixels of the set on loan whose frame record begins with this word; null when it is not
    // on loan. Valid until the set is given back.
    const FramePlanes* on_loan(std::uint64_t frame_word) const;
    LoanCounts loans() const;

    // Keeps the pixels of a set that was handed out from being overwritten until let_go(), no
    // matter when it is given back. Call it when the pass observer is told of the pass.
    void hold(std::int64_t frame_number);
    // The pixels of a held set.
    const FramePlanes& held(std::int64_t frame_number) const;
    void let_go(std::int64_t frame_number);

  private:
    static constexpr int kFrames = 3;  // colour, depth, raw

    struct Slot {
        FramePlanes planes;
        std::int64_t frame_number = -1;
        std::uint32_t generation = 0;
        std::array<bool, kFrames> block_out{};
        std::array<bool, kFrames> mapped{};
        bool held = false;      // the pixels are still in use
        bool returned = false;  // by the library
    };

    static const void* plane_address(const Slot& slot, int frame);
    static std::uint32_t plane_bytes(const Slot& slot, int frame);
    static bool is_back(const Slot& slot);
    AVS_IVE_FRAME_S lend(int slot_index, int frame);
    // Slot and frame of a live mapping; -1, -1 when there is none.
    std::pair<int, int> find_mapping(const void* addr, std::uint32_t size) const;
    void recycle(int slot_index);
    void free_slot(int slot_index);
    int index_of(std::int64_t frame_number) const;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::condition_variable filled_;  // a set is queued, or the library is to wake up
    bool woken_ = false;
    std::vector<Slot> slots_;
    std::deque<int> free_;
    std::deque<int> ready_;
    int errors_ = 0;
};

// The pool behind avs_read_all_ive, ss_mpi_vb_release_blk and ss_mpi_sys_munmap; null for none.
// Change it only while the analysis is down.
void set_frame_pool(FramePool* pool);
FramePool* frame_pool();

}  // namespace host
