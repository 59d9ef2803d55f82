#include "framework/http/tls_sessions.h"

#include <array>
#include <mutex>
#include <new>

namespace zendro::framework {
namespace {

using Locks = std::array<std::mutex, CURL_LOCK_DATA_LAST>;

void lock(CURL*, curl_lock_data data, curl_lock_access, void* locks) {
  static_cast<Locks*>(locks)->at(data).lock();
}

void unlock(CURL*, curl_lock_data data, void* locks) {
  static_cast<Locks*>(locks)->at(data).unlock();
}

std::shared_ptr<CURLSH> make_sessions() {
  auto locks = std::make_shared<Locks>();
  std::shared_ptr<CURLSH> sessions(curl_share_init(),
                                   [locks](CURLSH* share) { curl_share_cleanup(share); });
  if (!sessions) throw std::bad_alloc();
  curl_share_setopt(sessions.get(), CURLSHOPT_USERDATA, locks.get());
  curl_share_setopt(sessions.get(), CURLSHOPT_LOCKFUNC, &lock);
  curl_share_setopt(sessions.get(), CURLSHOPT_UNLOCKFUNC, &unlock);
  curl_share_setopt(sessions.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  return sessions;
}

}  // namespace

std::shared_ptr<CURLSH> tls_sessions() {
  static const std::shared_ptr<CURLSH> sessions = make_sessions();
  return sessions;
}

}  // namespace zendro::framework
