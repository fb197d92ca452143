#include "format/Dictionary.h"

namespace Velmora::FormatGlue {

const Dictionary* DictionaryValue::AsDictionary() const {
    if (tag != DictionaryTag || dictionaries.empty()) return nullptr;
    return &dictionaries.front();
}

bool Dictionary::Insert(const std::string& key, DictionaryValue value) {
    return entries_.emplace(key, std::move(value)).second;
}

const DictionaryValue* Dictionary::Find(const std::string& key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &it->second;
}

const DictionaryValue* Dictionary::Find(const std::string& key, DictionaryValue::Tag tag) const {
    const DictionaryValue* value = Find(key);
    return value != nullptr && value->tag == tag ? value : nullptr;
}

}  // namespace Velmora::FormatGlue
