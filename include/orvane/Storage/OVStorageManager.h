#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Storage/OVStorage.h"

namespace orvane {

struct OVStorageManagerTesting;

/// The process-wide entry point to the chunked store. It owns a default store,
/// to which its data operations forward, and a dictionary of further,
/// customised stores looked up by a text identifier. Both are kept as keyed
/// archives in the standard user defaults, under keys that end in the
/// library's version text, so each version of the library starts from stores
/// of its own:
///
///   "kHXDefaultStorageData" + currentVersion()    the default store
///   "kHXCustomizeStorageData" + currentVersion()  identifier -> store
///
/// The default store is saved after every updateDataWithIdentifier and every
/// removeDataWithIdentifier that removed something; customised stores only
/// when the client calls saveCustomizeStorage. Missing or undecodable entries
/// give fresh, empty state; nothing is reported.
///
/// Thread safety: the shared manager is created once. Data operations rely on
/// the stores' own queues. Saves are serialised, so the defaults always end
/// with the archive taken last, and the dictionary of customised stores is
/// guarded, so concurrent calls never corrupt it.
class ORVANE_EXPORT OVStorageManager {
 public:
  /// Dictionary of customised stores by identifier.
  using StorageDictionary = std::map<std::string, std::shared_ptr<OVStorage>, std::less<>>;

  /// The single shared manager, made (and restored from the defaults) on first
  /// use. It lives until the process ends.
  static std::shared_ptr<OVStorageManager> shareStorageManager();
  /// The shared manager when it exists; before that, a manager of its own,
  /// restored from the defaults like the shared one.
  static std::shared_ptr<OVStorageManager> init();

  ~OVStorageManager();
  OVStorageManager(const OVStorageManager&) = delete;
  OVStorageManager& operator=(const OVStorageManager&) = delete;

  /// The library's version text, or "version_unknown" when it is empty.
  std::string currentVersion() const;
  /// "kHXDefaultStorageData" followed directly by currentVersion().
  std::string keyForDefaultStorage() const;
  /// "kHXCustomizeStorageData" followed directly by currentVersion().
  std::string keyForCustomizeStorage() const;

  /// The root object of the archive under the key in the standard user
  /// defaults; null when the value is absent, empty, or no archived object.
  std::shared_ptr<NSCoding> restoreObjectForKey(std::string_view key) const;
  /// The same for an archive whose root is a dictionary.
  std::optional<std::map<std::string, std::shared_ptr<NSCoding>>> restoreDictionaryForKey(
      std::string_view key) const;
  /// Archives the object as the root of a keyed archive and stores it in the
  /// standard user defaults under the key.
  void saveObjectForKey(const NSCoding& object, std::string_view key) const;
  /// The same for a dictionary as the root.
  void saveObjectForKey(const NSCodingDictionary& dictionary, std::string_view key) const;

  /// The default store archived under keyForDefaultStorage(), or null.
  std::shared_ptr<OVStorage> restoreDefaultStorage() const;
  /// The customised stores archived under keyForCustomizeStorage(), or
  /// nothing. Entries that are no store (or whose chunk file is gone) are left
  /// out.
  std::optional<StorageDictionary> restoreCustomizeStorage() const;
  /// Archives the default store (which pushes its chunk file to disk) into the
  /// defaults.
  void saveDefaultStorage() const;
  /// Archives the dictionary of customised stores into the defaults.
  void saveCustomizeStorage() const;

  // The default store's items.

  bool dataWithIdentifierExist(std::string_view identifier) const;
  std::optional<Data> dataWithIdentifier(std::string_view identifier) const;
  /// Saves or replaces the item, then saves the default store (always).
  void updateDataWithIdentifier(ByteView data, std::string_view identifier);
  /// Removes the item and saves the default store, when the item exists;
  /// otherwise does nothing at all.
  void removeDataWithIdentifier(std::string_view identifier);

  // Customised stores.

  /// Replaces the store under an identifier that is already present and
  /// answers true; an unknown identifier changes nothing and answers false
  /// (new entries come from createCustomiszeStorageWithIdentifier).
  bool addCustomizeStorageWithIdentifier(std::shared_ptr<OVStorage> storage,
                                         std::string_view identifier);
  /// The store under the identifier, or null.
  std::shared_ptr<OVStorage> customizeStorageWithIdentifier(std::string_view identifier) const;
  /// The store under the identifier; when there is none, a new store in the
  /// default directory with a fresh UUID identifier (the given identifier only
  /// names the entry), entered under it. Nothing is saved.
  std::shared_ptr<OVStorage> createCustomiszeStorageWithIdentifier(std::string_view identifier);

  /// The default store; null only when no store could be made in the
  /// default directory.
  const std::shared_ptr<OVStorage>& defStorage() const noexcept { return _defStorage; }

 private:
  friend struct OVStorageManagerTesting;
  struct Token {};

 public:
  // Made through shareStorageManager() or init().
  explicit OVStorageManager(Token);

 private:
  std::shared_ptr<OVStorage> _defStorages;  // declared and kept, never used
  StorageDictionary _customStorages;
  std::shared_ptr<OVStorage> _defStorage;
  mutable std::mutex _customStoragesMutex;
  mutable std::mutex _saveMutex;
};

}  // namespace orvane
