// A layer between SQLite and the system's files.
#include "tests/support/fault_disk.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <stdexcept>

namespace test {
namespace {

FaultDisk* disk = nullptr;
sqlite3_vfs* system_files = nullptr;
sqlite3_vfs layer{};

// What SQLite holds of an open file; the system's own record follows it.
struct LayerFile {
    sqlite3_file base;
    const char* path;  // SQLite keeps it until the file is closed
};

sqlite3_file* real(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<LayerFile*>(file) + 1);
}

std::string path_of(sqlite3_file* file) {
    const char* path = reinterpret_cast<LayerFile*>(file)->path;
    return path == nullptr ? "" : path;
}

const sqlite3_io_methods* methods(sqlite3_file* file) {
    return real(file)->pMethods;
}

int write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    if (const int result = disk->check(); result != SQLITE_OK) return result;
    const auto* bytes = static_cast<const unsigned char*>(data);
    const int result = methods(file)->xWrite(real(file), data, size, offset);
    if (result == SQLITE_OK) {
        disk->note({DiskOperation::Kind::kWrite, path_of(file), offset, {bytes, bytes + size}, 0});
    }
    return result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    if (const int result = disk->check(); result != SQLITE_OK) return result;
    const int result = methods(file)->xTruncate(real(file), size);
    if (result == SQLITE_OK)
        disk->note({DiskOperation::Kind::kTruncate, path_of(file), size, {}, 0});
    return result;
}

int sync(sqlite3_file* file, int flags) {
    if (const int result = disk->check(); result != SQLITE_OK) return result;
    const int result = methods(file)->xSync(real(file), flags);
    if (result == SQLITE_OK) disk->note({DiskOperation::Kind::kSync, path_of(file), 0, {}, 0});
    return result;
}

int close(sqlite3_file* file) {
    return methods(file)->xClose(real(file));
}

int read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
    return methods(file)->xRead(real(file), data, size, offset);
}

int file_size(sqlite3_file* file, sqlite3_int64* size) {
    return methods(file)->xFileSize(real(file), size);
}

int lock(sqlite3_file* file, int level) {
    return methods(file)->xLock(real(file), level);
}

int unlock(sqlite3_file* file, int level) {
    return methods(file)->xUnlock(real(file), level);
}

int check_reserved(sqlite3_file* file, int* result) {
    return methods(file)->xCheckReservedLock(real(file), result);
}

int control(sqlite3_file* file, int operation, void* argument) {
    return methods(file)->xFileControl(real(file), operation, argument);
}

int sector_size(sqlite3_file*) {
    return 512;
}

// No promise that a write is whole or in order.
int characteristics(sqlite3_file*) {
    return 0;
}

int shm_map(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
    return methods(file)->xShmMap(real(file), page, size, extend, memory);
}

int shm_lock(sqlite3_file* file, int offset, int count, int flags) {
    return methods(file)->xShmLock(real(file), offset, count, flags);
}

void shm_barrier(sqlite3_file* file) {
    methods(file)->xShmBarrier(real(file));
}

int shm_unmap(sqlite3_file* file, int remove) {
    return methods(file)->xShmUnmap(real(file), remove);
}

const sqlite3_io_methods kMethods{2,
                                  close,
                                  read,
                                  write,
                                  truncate,
                                  sync,
                                  file_size,
                                  lock,
                                  unlock,
                                  check_reserved,
                                  control,
                                  sector_size,
                                  characteristics,
                                  shm_map,
                                  shm_lock,
                                  shm_barrier,
                                  shm_unmap,
                                  nullptr,
                                  nullptr};

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flags_out) {
    auto* mine = reinterpret_cast<LayerFile*>(file);
    mine->base.pMethods = nullptr;
    mine->path = name;
    const int result = system_files->xOpen(system_files, name, real(file), flags, flags_out);
    if (real(file)->pMethods != nullptr) mine->base.pMethods = &kMethods;
    return result;
}

int remove(sqlite3_vfs*, const char* name, int sync_folder) {
    if (const int result = disk->check(); result != SQLITE_OK) return result;
    const int result = system_files->xDelete(system_files, name, sync_folder);
    if (result == SQLITE_OK) disk->note({DiskOperation::Kind::kRemove, name, 0, {}, 0});
    return result;
}

using Bytes = std::vector<unsigned char>;

void put(Bytes& content, std::int64_t offset, const unsigned char* bytes, std::size_t size) {
    const auto at = static_cast<std::size_t>(offset);
    if (content.size() < at + size) content.resize(at + size);
    std::copy_n(bytes, size, content.begin() + static_cast<std::ptrdiff_t>(at));
}

void apply(Bytes& content, const DiskOperation& operation) {
    if (operation.kind == DiskOperation::Kind::kTruncate)
        content.resize(static_cast<std::size_t>(operation.offset));
    if (operation.kind == DiskOperation::Kind::kWrite)
        put(content, operation.offset, operation.bytes.data(), operation.bytes.size());
}

// Sector by sector, what was written without a sync gets through, is lost, or ends in its middle.
void apply_by_chance(Bytes& content, const DiskOperation& operation, std::mt19937& random) {
    constexpr std::size_t kSector = 512;
    if (operation.kind != DiskOperation::Kind::kWrite) {
        if (random() % 2 == 0) apply(content, operation);
        return;
    }
    for (std::size_t from = 0; from < operation.bytes.size();) {
        const auto at = static_cast<std::size_t>(operation.offset) + from;
        std::size_t size = std::min(kSector - at % kSector, operation.bytes.size() - from);
        const std::size_t whole = size;
        const auto fate = random() % 3;
        if (fate == 2) size = random() % size;
        if (fate != 0) {
            put(content, static_cast<std::int64_t>(at), operation.bytes.data() + from, size);
        }
        from += whole;
    }
}

}  // namespace

FaultDisk::FaultDisk() {
    if (disk != nullptr) throw std::logic_error("there is a disk already");
    disk = this;
    system_files = sqlite3_vfs_find(nullptr);
    layer = *system_files;
    layer.zName = "fault disk";
    layer.pNext = nullptr;
    layer.szOsFile = static_cast<int>(sizeof(LayerFile)) + system_files->szOsFile;
    layer.xOpen = open;
    layer.xDelete = remove;
    sqlite3_vfs_register(&layer, 1);
}

FaultDisk::~FaultDisk() {
    sqlite3_vfs_unregister(&layer);
    sqlite3_vfs_register(system_files, 1);
    disk = nullptr;
}

void FaultDisk::fail_always(int result) {
    const std::lock_guard guard(mutex_);
    always_ = result;
}

void FaultDisk::fail_once(std::int64_t n, int result) {
    const std::lock_guard guard(mutex_);
    left_ = n;
    once_ = result;
    failed_ = false;
}

bool FaultDisk::has_failed() const {
    const std::lock_guard guard(mutex_);
    return failed_;
}

void FaultDisk::remember(bool on) {
    const std::lock_guard guard(mutex_);
    remembering_ = on;
}

void FaultDisk::mark(std::int64_t mark) {
    note({DiskOperation::Kind::kMark, "", 0, {}, mark});
}

std::vector<DiskOperation> FaultDisk::operations() const {
    const std::lock_guard guard(mutex_);
    return operations_;
}

int FaultDisk::check() {
    const std::lock_guard guard(mutex_);
    if (always_ != SQLITE_OK) {
        failed_ = true;
        return always_;
    }
    if (left_ == 0 || --left_ > 0) return SQLITE_OK;
    failed_ = true;
    return once_;
}

void FaultDisk::note(DiskOperation operation) {
    const std::lock_guard guard(mutex_);
    if (remembering_) operations_.push_back(std::move(operation));
}

void write_after_power_loss(const std::vector<DiskOperation>& operations, std::size_t count,
                            const std::filesystem::path& folder, std::mt19937& random) {
    struct File {
        Bytes synced;
        std::vector<const DiskOperation*> since;
    };
    std::map<std::string, File> files;
    for (std::size_t i = 0; i < count; ++i) {
        const DiskOperation& operation = operations[i];
        if (operation.kind == DiskOperation::Kind::kMark) continue;
        if (operation.kind == DiskOperation::Kind::kRemove) {
            files.erase(operation.path);
            continue;
        }
        File& file = files[operation.path];
        if (operation.kind != DiskOperation::Kind::kSync) {
            file.since.push_back(&operation);
            continue;
        }
        for (const DiskOperation* change : file.since)
            apply(file.synced, *change);
        file.since.clear();
    }
    for (auto& [path, file] : files) {
        for (const DiskOperation* change : file.since)
            apply_by_chance(file.synced, *change, random);
        std::ofstream out(folder / std::filesystem::path(path).filename(), std::ios::binary);
        out.write(reinterpret_cast<const char*>(file.synced.data()),
                  static_cast<std::streamsize>(file.synced.size()));
    }
}

}  // namespace test
