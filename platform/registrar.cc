#include "platform/registrar.h"

#include <algorithm>
#include <cstring>

namespace orbel {
namespace {

constexpr size_t kMostName = 256;
constexpr size_t kMostText = 4352;  // of a path or value
constexpr int kMostDepth = 32;

// A text of bounded length; what does not fit makes it bad.
template <size_t kRoom>
class Text {
 public:
  void Add(std::string_view more) noexcept {
    good_ = good_ && more.size() <= kRoom - size_;
    if (!good_) return;
    more.copy(bytes_ + size_, more.size());
    size_ += more.size();
  }
  void Cut(size_t size) noexcept { size_ = size; }
  bool Good() const noexcept { return good_; }
  std::string_view View() const noexcept { return {bytes_, size_}; }

 private:
  size_t size_ = 0;
  bool good_ = true;
  char bytes_[kRoom];
};

enum class Purpose { kCheckAll, kCheckKeys, kEnter, kRemove };

bool IsSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class Reader {
 public:
  Reader(Registry& registry, std::string_view script, const RegistrarReplacement& replacement,
         Purpose purpose) noexcept
      : registry_(registry), rest_(script), replacement_(replacement), purpose_(purpose) {}

  HRESULT Run() noexcept {
    if (Word() != "HKCR" || quoted_) return E_INVALIDARG;
    path_.Add("HKCR");
    if (!Block(0, false) || !Word().empty()) return failure_;
    return S_OK;
  }

 private:
  // The next word, or a brace or equals sign by itself; empty at the end. A brace
  // that an identifier follows belongs to it.
  std::string_view Word() noexcept {
    while (!rest_.empty() && IsSpace(rest_.front())) rest_.remove_prefix(1);
    quoted_ = !rest_.empty() && rest_.front() == '\'';
    if (rest_.empty()) return {};
    if (quoted_) return Quoted();
    size_t size = 1;
    if (rest_.front() != '=')
      while (size < rest_.size() && !IsSpace(rest_[size]) && rest_[size] != '=') ++size;
    const std::string_view word = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return word;
  }
  std::string_view Quoted() noexcept {
    text_.Cut(0);
    for (rest_.remove_prefix(1); !rest_.empty(); rest_.remove_prefix(1)) {
      if (rest_.front() == '\'') {
        if (rest_.size() == 1 || rest_[1] != '\'') {
          rest_.remove_prefix(1);
          return text_.View();
        }
        rest_.remove_prefix(1);
      }
      text_.Add(rest_.substr(0, 1));
    }
    failed_ = true;
    return {};
  }
  std::string_view Peek() noexcept {
    const std::string_view before = rest_;
    const std::string_view word = Word();
    rest_ = before;
    return quoted_ ? "'" : word;
  }

  // "= s 'text'", replaced; false when it is none.
  bool Value() noexcept {
    value_.Cut(0);
    if (Word() != "=" || Word() != "s" || quoted_) return false;
    std::string_view text = Word();
    if (!quoted_ || failed_) return false;
    while (!text.empty()) {
      const size_t mark = text.find('%');
      value_.Add(text.substr(0, mark));
      if (mark == text.npos) break;
      text.remove_prefix(mark + 1);
      const size_t end = text.find('%');
      if (end == text.npos) return false;
      if (end == 0) value_.Add("%");
      if (end != 0 && (purpose_ == Purpose::kCheckAll || purpose_ == Purpose::kEnter)) {
        if (text.substr(0, end) != replacement_.name) return false;
        value_.Add(replacement_.text);
      }
      text.remove_prefix(end + 1);
    }
    return value_.Good() && text_.Good();
  }

  bool Did(HRESULT result) noexcept {
    if (result < 0) failure_ = result;
    return result >= 0;
  }

  // "{ keys and values }"; `gone`: a key above is removed with all below it.
  bool Block(int depth, bool gone) noexcept {
    if (depth > kMostDepth || Word() != "{") return false;
    while (Peek() != "}") {
      if (Peek().empty() || !Entry(depth, gone)) return false;
    }
    Word();
    return true;
  }

  bool Entry(int depth, bool gone) noexcept {
    std::string_view word = Word();
    const std::string_view attribute = quoted_ ? "" : word;
    const bool isValue = attribute == "val";
    const bool keep = attribute == "NoRemove";
    const bool anew = attribute == "ForceRemove";
    if (isValue || keep || anew) word = Word();
    if (word.empty() || word.find('\\') != word.npos || (!quoted_ && (word == "{" || word == "=")))
      return false;
    const size_t length = path_.View().size();
    Text<kMostName> name;
    name.Add(word);
    if (!name.Good()) return false;
    if (isValue) return Value() && Put(name.View());
    path_.Add("\\");
    path_.Add(word);
    if (!path_.Good()) return false;
    if (purpose_ == Purpose::kEnter && anew && !Did(registry_.RemoveKey(path_.View())))
      return false;
    if (purpose_ == Purpose::kEnter && !Did(registry_.MakeKey(path_.View()))) return false;
    const bool removes = purpose_ == Purpose::kRemove && !keep && !gone;
    if (removes && !Did(registry_.RemoveKey(path_.View()))) return false;
    if (Peek() == "=" && (!Value() || !Put(""))) return false;
    if (Peek() == "{" && !Block(depth + 1, gone || removes)) return false;
    path_.Cut(length);
    return true;
  }

  bool Put(std::string_view name) noexcept {
    return purpose_ != Purpose::kEnter ||
           Did(registry_.SetValue(path_.View(), name, value_.View()));
  }

  Registry& registry_;
  std::string_view rest_;
  const RegistrarReplacement& replacement_;
  const Purpose purpose_;
  HRESULT failure_ = E_INVALIDARG;
  bool quoted_ = false;
  bool failed_ = false;
  Text<kMostText> path_, value_, text_;
};

HRESULT Run(Registry& registry, std::string_view script, const RegistrarReplacement& replacement,
            Purpose purpose) noexcept {
  return Reader(registry, script, replacement, purpose).Run();
}

}  // namespace

HRESULT RegistrarEnter(Registry& registry, std::string_view script,
                       const RegistrarReplacement& replacement) noexcept {
  const HRESULT checked = Run(registry, script, replacement, Purpose::kCheckAll);
  return checked != S_OK ? checked : Run(registry, script, replacement, Purpose::kEnter);
}

HRESULT RegistrarRemove(Registry& registry, std::string_view script) noexcept {
  const RegistrarReplacement none = {};
  const HRESULT checked = Run(registry, script, none, Purpose::kCheckKeys);
  return checked != S_OK ? checked : Run(registry, script, none, Purpose::kRemove);
}

}  // namespace orbel
