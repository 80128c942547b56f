#include "platform/StringWithFormat.h"

#include <cstdio>
#include <cstring>

namespace zerva::format_detail {

namespace {

template <class V>
void appendFormatted(std::string& out, const std::string& desc, V value) {
  char buf[128];
  const int n = std::snprintf(buf, sizeof buf, desc.c_str(), value);
  if (n < 0) return;
  if (static_cast<size_t>(n) < sizeof buf) {
    out.append(buf, static_cast<size_t>(n));
    return;
  }
  std::string big(static_cast<size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), desc.c_str(), value);
  big.resize(static_cast<size_t>(n));
  out += big;
}

}  // namespace

std::string format(std::string_view fmt, const std::vector<Arg>& args) {
  std::string out;
  out.reserve(fmt.size() + 16 * args.size());
  size_t next = 0;
  for (size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] != '%') {
      out += fmt[i];
      continue;
    }
    if (i + 1 < fmt.size() && fmt[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    // %[flags][width][.precision][length]conversion
    size_t j = i + 1;
    std::string flags;
    while (j < fmt.size() && std::strchr("-+ #0123456789.", fmt[j])) flags += fmt[j++];
    while (j < fmt.size() && std::strchr("hlqLzjt", fmt[j])) ++j;  // lengths are ours to choose
    if (j >= fmt.size()) {
      out.append(fmt.substr(i));
      break;
    }
    const char conv = fmt[j];
    i = j;
    if (next >= args.size()) continue;  // too few arguments: the conversion prints nothing
    const Arg& a = args[next++];
    const std::string desc = "%" + flags;
    switch (conv) {
      case '@':
      case 's':
        appendFormatted(out, desc + "s", a.kind == Arg::Kind::Text || !a.s.empty() ? a.s.c_str() : "(null)");
        break;
      case 'c':
        appendFormatted(out, desc + "c", static_cast<int>(a.kind == Arg::Kind::Unsigned ? static_cast<long long>(a.u) : a.i));
        break;
      case 'd':
      case 'i':
        appendFormatted(out, desc + "lld",
                        a.kind == Arg::Kind::Unsigned ? static_cast<long long>(a.u)
                        : a.kind == Arg::Kind::Floating ? static_cast<long long>(a.d)
                                                        : a.i);
        break;
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        appendFormatted(out, desc + "ll" + conv,
                        a.kind == Arg::Kind::Signed ? static_cast<unsigned long long>(a.i) : a.u);
        break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        appendFormatted(out, desc + conv,
                        a.kind == Arg::Kind::Floating ? a.d
                        : a.kind == Arg::Kind::Signed ? static_cast<double>(a.i)
                                                      : static_cast<double>(a.u));
        break;
      case 'p':
        appendFormatted(out, desc + "p", a.p);
        break;
      default:
        out += '%';
        out += flags;
        out += conv;
    }
  }
  return out;
}

}  // namespace zerva::format_detail
