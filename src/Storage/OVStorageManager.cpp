#include "orvane/Storage/OVStorageManager.h"

#include <atomic>
#include <memory>
#include <new>

#include "Storage/OVStorageManagerTesting.h"
#include "orvane/Platform/Foundation/Environment.h"
#include "orvane/Platform/Foundation/NSUserDefaults.h"

namespace orvane {

namespace {

constexpr std::string_view kDefaultStorageKeyPrefix = "kHXDefaultStorageData";
constexpr std::string_view kCustomizeStorageKeyPrefix = "kHXCustomizeStorageData";
constexpr std::string_view kUnknownVersion = "version_unknown";

// Holds a value that is never destroyed: the shared manager lives until the
// process ends, so host threads still using it while static objects are torn
// down at exit never meet a destroyed manager.
template <class T>
class Immortal {
 public:
  template <class... Args>
  explicit Immortal(Args&&... args) {
    std::construct_at(reinterpret_cast<T*>(storage_), std::forward<Args>(args)...);
  }
  T& get() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

std::atomic<bool> sharedManagerExists{false};

std::shared_ptr<NSUserDefaults> defaults() { return NSUserDefaults::standardUserDefaults(); }

}  // namespace

std::shared_ptr<OVStorageManager> OVStorageManager::shareStorageManager() {
  static Immortal<std::shared_ptr<OVStorageManager>> shared([] {
    auto manager = std::make_shared<OVStorageManager>(Token{});
    return manager;
  }());
  static const bool published = [] {
    sharedManagerExists.store(true, std::memory_order_release);
    return true;
  }();
  (void)published;
  return shared.get();
}

std::shared_ptr<OVStorageManager> OVStorageManager::init() {
  if (sharedManagerExists.load(std::memory_order_acquire)) return shareStorageManager();
  return std::make_shared<OVStorageManager>(Token{});
}

OVStorageManager::OVStorageManager(Token) {
  if (auto restored = restoreCustomizeStorage()) _customStorages = std::move(*restored);
  _defStorage = restoreDefaultStorage();
  // A fresh store is not saved here: the first update or removal does it.
  // When even that cannot be made (no default directory), the manager has no
  // default store and its data operations find and keep nothing.
  if (!_defStorage) _defStorage = OVStorage::init();
}

OVStorageManager::~OVStorageManager() = default;

std::string OVStorageManager::currentVersion() const {
  std::string version = Environment::bundleVersion();
  return version.empty() ? std::string(kUnknownVersion) : version;
}

std::string OVStorageManager::keyForDefaultStorage() const {
  return std::string(kDefaultStorageKeyPrefix) + currentVersion();
}

std::string OVStorageManager::keyForCustomizeStorage() const {
  return std::string(kCustomizeStorageKeyPrefix) + currentVersion();
}

std::shared_ptr<NSCoding> OVStorageManager::restoreObjectForKey(std::string_view key) const {
  auto data = defaults()->dataForKey(key);
  if (!data || data->empty()) return nullptr;
  return NSKeyedUnarchiver::unarchiveObjectWithData(*data);
}

std::optional<std::map<std::string, std::shared_ptr<NSCoding>>>
OVStorageManager::restoreDictionaryForKey(std::string_view key) const {
  auto data = defaults()->dataForKey(key);
  if (!data || data->empty()) return std::nullopt;
  return NSKeyedUnarchiver::unarchiveDictionaryWithData(*data);
}

void OVStorageManager::saveObjectForKey(const NSCoding& object, std::string_view key) const {
  std::lock_guard<std::mutex> lock(_saveMutex);
  defaults()->setObjectForKey(NSKeyedArchiver::archivedDataWithRootObject(object), key);
}

void OVStorageManager::saveObjectForKey(const NSCodingDictionary& dictionary,
                                        std::string_view key) const {
  std::lock_guard<std::mutex> lock(_saveMutex);
  defaults()->setObjectForKey(NSKeyedArchiver::archivedDataWithRootDictionary(dictionary), key);
}

std::shared_ptr<OVStorage> OVStorageManager::restoreDefaultStorage() const {
  return std::dynamic_pointer_cast<OVStorage>(restoreObjectForKey(keyForDefaultStorage()));
}

std::optional<OVStorageManager::StorageDictionary> OVStorageManager::restoreCustomizeStorage()
    const {
  auto entries = restoreDictionaryForKey(keyForCustomizeStorage());
  if (!entries) return std::nullopt;
  StorageDictionary stores;
  for (auto& [identifier, object] : *entries)
    if (auto storage = std::dynamic_pointer_cast<OVStorage>(object))
      stores.emplace(identifier, std::move(storage));
  return stores;
}

void OVStorageManager::saveDefaultStorage() const {
  if (_defStorage) saveObjectForKey(*_defStorage, keyForDefaultStorage());
}

void OVStorageManager::saveCustomizeStorage() const {
  NSCodingDictionary dictionary;
  {
    std::lock_guard<std::mutex> lock(_customStoragesMutex);
    for (const auto& [identifier, storage] : _customStorages)
      dictionary.emplace(identifier, storage);
  }
  saveObjectForKey(dictionary, keyForCustomizeStorage());
}

bool OVStorageManager::dataWithIdentifierExist(std::string_view identifier) const {
  return _defStorage && _defStorage->dataWithIdentifierExist(identifier);
}

std::optional<Data> OVStorageManager::dataWithIdentifier(std::string_view identifier) const {
  if (!_defStorage) return std::nullopt;
  return _defStorage->dataWithIdentifier(identifier);
}

void OVStorageManager::updateDataWithIdentifier(ByteView data, std::string_view identifier) {
  if (!_defStorage) return;
  _defStorage->updateDataWithIdentifier(data, identifier);
  saveDefaultStorage();
}

void OVStorageManager::removeDataWithIdentifier(std::string_view identifier) {
  if (!dataWithIdentifierExist(identifier)) return;
  _defStorage->removeDataWithIdentifier(identifier);
  saveDefaultStorage();
}

bool OVStorageManager::addCustomizeStorageWithIdentifier(std::shared_ptr<OVStorage> storage,
                                                         std::string_view identifier) {
  std::lock_guard<std::mutex> lock(_customStoragesMutex);
  auto found = _customStorages.find(identifier);
  if (found == _customStorages.end()) return false;
  found->second = std::move(storage);
  return true;
}

std::shared_ptr<OVStorage> OVStorageManager::customizeStorageWithIdentifier(
    std::string_view identifier) const {
  std::lock_guard<std::mutex> lock(_customStoragesMutex);
  auto found = _customStorages.find(identifier);
  return found == _customStorages.end() ? nullptr : found->second;
}

std::shared_ptr<OVStorage> OVStorageManager::createCustomiszeStorageWithIdentifier(
    std::string_view identifier) {
  if (auto existing = customizeStorageWithIdentifier(identifier)) return existing;
  auto storage = OVStorage::init();
  std::lock_guard<std::mutex> lock(_customStoragesMutex);
  // Another thread may have made one meanwhile; the first one entered wins.
  auto [entry, inserted] = _customStorages.emplace(std::string(identifier), storage);
  return entry->second;
}

std::shared_ptr<OVStorageManager> OVStorageManagerTesting::make() {
  return std::make_shared<OVStorageManager>(OVStorageManager::Token{});
}

}  // namespace orvane
