#include "store/check/contents_cache.h"

namespace zendro::store {
namespace {

constexpr std::size_t kRoom = std::size_t{512} << 20;  // bytes

}  // namespace

ContentsCache::ContentsCache(const LoadedStore& store) : store_(store) {
  for (const auto* packages : {&store.list.packages(), &store.list.deprecated()}) {
    for (const pkg::package_t& package : *packages) slots_.try_emplace(&package);
  }
}

std::shared_ptr<const PackageContents> ContentsCache::get(const pkg::package_t& package) {
  Slot& slot = slots_.at(&package);
  const std::lock_guard lock(slot.mutex);
  std::shared_ptr<const PackageContents> contents = slot.contents.lock();
  if (contents) return contents;
  contents = std::make_shared<PackageContents>(read_contents(package, store_.read_member));
  slot.contents = contents;
  keep(contents);
  return contents;
}

void ContentsCache::keep(std::shared_ptr<const PackageContents> contents) {
  const std::lock_guard lock(mutex_);
  size_ += contents->size;
  kept_.push_back(std::move(contents));
  while (size_ > kRoom && kept_.size() > 1) {
    size_ -= kept_.front()->size;
    kept_.pop_front();
  }
}

}  // namespace zendro::store
