#include "core/file_listing.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "core/console_ops.h"
#include "core/text.h"

namespace tw::core {

namespace {

bool matchesPattern(const std::string& name, const std::string& pattern) {
    if (pattern.empty() || pattern == "*" || pattern == "*.*") {
        return true;
    }
    if (pattern.rfind("*.", 0) == 0) {
        std::string ext = pattern.substr(1);  // ".mp3"
        return name.size() >= ext.size() &&
               equalsNoCase(std::string_view(name).substr(name.size() - ext.size()), ext);
    }
    return equalsNoCase(name, pattern);
}

}  // namespace

bool listFileNames(const Element& list, std::vector<std::string>& names) {
    names.clear();
    std::error_code ec;
    bool whole = true;
    const bool folders = list.kind == ElementKind::DirList;
    for (std::filesystem::directory_iterator it(list.path, ec), end; !ec && it != end;
         it.increment(ec)) {
        std::error_code linkError;
        if (it->is_symlink(linkError) || linkError) {
            whole = false;
        }
        std::error_code typeError;
        const bool isDir = it->is_directory(typeError);
        if (folders != isDir) {
            continue;
        }
        std::string name = it->path().filename().string();
        if (folders || matchesPattern(name, list.pattern)) {
            names.push_back(folders ? it->path().string() : name);
        }
    }
    // Each name lowered once, not at every comparison: a category holds 100,000 files.
    std::vector<std::pair<std::string, std::string>> keyed;
    keyed.reserve(names.size());
    for (auto& n : names) {
        std::string lower = toLower(n);
        keyed.emplace_back(std::move(lower), std::move(n));
    }
    std::sort(keyed.begin(), keyed.end());
    names.clear();
    for (auto& [lower, n] : keyed) {
        names.push_back(std::move(n));
    }
    return whole && !ec;
}

void fillFileList(Element& list, const std::vector<std::string>& names) {
    list.listIndex = -1;
    // The rows already there are written over in place: their texts keep their storage, so that
    // filling the list again with a listing as long (every pick of a category does) allocates
    // nothing.
    list.items.resize(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        ListItem& item = list.items[i];
        item.text = names[i];
        item.picture = 0;
        item.tag.clear();
        item.selected = false;
    }
}

void refreshFileList(Element& list) {
    std::vector<std::string> names;
    listFileNames(list, names);
    fillFileList(list, names);
}

}  // namespace tw::core
