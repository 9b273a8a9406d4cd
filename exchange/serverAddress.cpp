#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "exchange/connection.h"

namespace Zorva::Exchange {

namespace {

[[noreturn]] void refuse(const std::string& what)
{
   throw std::invalid_argument(what + ": a server is redis://[user:password@]host[:port][/database] or "
                                      "redis+unix://[user:password@]path[?db=database]");
}

/// Takes `prefix` off the front of `text`; whether it was there.
bool takes(std::string_view& text, std::string_view prefix)
{
   const bool begins = text.starts_with(prefix);
   text.remove_prefix(begins ? prefix.size() : 0);
   return begins;
}

std::string decoded(std::string_view text)
{
   std::string plain;
   for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '%') {
         plain += text[i];
         continue;
      }
      unsigned char byte = 0;
      const std::string_view digits = text.substr(i + 1, 2);
      const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
      if (error != std::errc() || end != text.data() + i + 3)
         refuse("a % without two hexadecimal digits");
      plain += static_cast<char>(byte);
      i += 2;
   }
   return plain;
}

template <class Number>
Number number(std::string_view text, const char* what)
{
   if (const std::optional<Number> number = wholeNumber<Number>(text))
      return *number;
   refuse(std::string("no number as ") + what);
}

} // namespace

ServerAddress ServerAddress::parse(std::string_view url)
{
   ServerAddress server;
   const bool isUnix = takes(url, "redis+unix://");
   if (!isUnix && !takes(url, "redis://"))
      refuse("not a server's address");
   // A path may hold an @, a password need not: the last one in front of the first slash.
   const std::string_view authority = url.substr(0, url.find('/'));
   if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
      const std::string_view login = authority.substr(0, at);
      const std::size_t colon = std::min(login.find(':'), login.size());
      server.user = decoded(login.substr(0, colon));
      server.password = decoded(login.substr(std::min(colon + 1, login.size())));
      url.remove_prefix(at + 1);
   }
   if (server.password.empty())
      if (const char* const password = std::getenv("REDISCLI_AUTH"); password != nullptr)
         server.password = password;

   const std::size_t end = std::min(url.find(isUnix ? '?' : '/'), url.size());
   std::string_view location = url.substr(0, end);
   std::string_view database = url.substr(std::min(end + 1, url.size()));
   if (isUnix && !database.empty() && !takes(database, "db="))
      refuse("unknown option");
   if (!database.empty())
      server.database = number<unsigned>(database, "database");
   if (isUnix) {
      server.path = decoded(location);
   } else {
      const bool isBracketed = takes(location, "["); // an IPv6 address
      const std::size_t hostEnd = std::min(location.find(isBracketed ? ']' : ':'), location.size());
      server.host = decoded(location.substr(0, hostEnd));
      location.remove_prefix(hostEnd);
      if (isBracketed && !takes(location, "]"))
         refuse("a [ without a ]");
      if (takes(location, ":"))
         server.port = number<std::uint16_t>(location, "port");
      else if (!location.empty())
         refuse("not a host and a port");
   }
   if (server.host.empty() && server.path.empty())
      refuse(isUnix ? "no path" : "no host");
   return server;
}

std::string ServerAddress::text() const
{
   const std::string number = std::to_string(database);
   if (!path.empty())
      return "redis+unix://" + path + (database != 0 ? "?db=" + number : "");
   const bool isIp6 = host.find(':') != std::string::npos;
   return "redis://" + (isIp6 ? '[' + host + ']' : host) + ':' + std::to_string(port) +
          (database != 0 ? '/' + number : "");
}

} // namespace Zorva::Exchange
