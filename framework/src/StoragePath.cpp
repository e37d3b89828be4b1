#include "StoragePath.h"

#include <climits>

#include "StorageError.h"
#include "StorageTemporaryName.h"

namespace framework_detail {

namespace {

void checkComponent(std::string_view component) {
  if (component == "..") throw StorageError("the path has a \"..\" component");
  if (component.size() > NAME_MAX) throw StorageError("a name in the path is too long");
  if (StorageTemporaryName::reserved(component)) {
    throw StorageError("a name in the path is kept for unfinished files");
  }
}

}  // namespace

StoragePath::StoragePath(std::string_view root, std::string_view path, unsigned depth) {
  if (!path.starts_with('/')) throw StorageError("the path is not absolute");
  if (path.size() >= PATH_MAX) throw StorageError("the path is too long");
  if (!path.starts_with(root) || path.substr(root.size()).find('/') != 0) {
    throw StorageError("the path is not beneath the root");
  }
  path.remove_prefix(root.size() + 1);
  while (!path.empty()) {
    const std::size_t end = path.find('/');
    add(path.substr(0, end));
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (end != std::string_view::npos && path.empty()) add(path);
  }
  if (m_name.empty()) throw StorageError("the path names a folder");
  if (m_folders.size() > depth) throw StorageError("the path has too many folders");
}

StoragePath StoragePath::withName(std::string_view name) const {
  checkComponent(name);
  if (name.empty() || name == "." || name.find('/') != std::string_view::npos) {
    throw StorageError("the name is not one of a file");
  }
  StoragePath other(*this);
  other.m_name = name;
  return other;
}

std::string StoragePath::folderPath(std::size_t count) const {
  std::string path = ".";
  for (std::size_t i = 0; i < count; ++i) path.append("/").append(m_folders[i]);
  return path;
}

void StoragePath::add(std::string_view component) {
  checkComponent(component);
  if (!m_name.empty()) m_folders.push_back(std::move(m_name));
  m_name = component == "." ? std::string_view() : component;
}

}  // namespace framework_detail
