#include "media/CurlEasy.h"

#include <mutex>

namespace vantor {

bool CurlHeaders::Append(const std::string& header) {
    curl_slist* grown = curl_slist_append(list_, header.c_str());
    if (grown == nullptr) {
        return false;
    }
    list_ = grown;
    return true;
}

CurlEasy::CurlEasy() {
    // curl_global_init is not thread-safe; run it once, before any handle.
    static std::once_flag initialised;
    std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    handle_ = curl_easy_init();
}

CurlEasy::~CurlEasy() {
    if (handle_ != nullptr) {
        curl_easy_cleanup(handle_);
    }
}

CURLcode CurlEasy::Perform() {
    return handle_ != nullptr ? curl_easy_perform(handle_) : CURLE_FAILED_INIT;
}

long CurlEasy::ResponseCode() const {
    long code = 0;
    if (handle_ != nullptr) {
        curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &code);
    }
    return code;
}

}  // namespace vantor
