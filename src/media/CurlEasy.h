#pragma once

// Owners of libcurl's easy handle and header list: each is released exactly
// once, by its owner. Not thread-safe; one transfer per handle at a time.

#include <curl/curl.h>

#include <string>

namespace vantor {

class CurlHeaders {
public:
    CurlHeaders() = default;
    ~CurlHeaders() { curl_slist_free_all(list_); }
    CurlHeaders(const CurlHeaders&) = delete;
    CurlHeaders& operator=(const CurlHeaders&) = delete;

    bool Append(const std::string& header);
    curl_slist* Get() const { return list_; }

private:
    curl_slist* list_ = nullptr;
};

class CurlEasy {
public:
    // Initialises libcurl once per process, then makes a handle; Valid()
    // says whether that worked.
    CurlEasy();
    ~CurlEasy();
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    bool Valid() const { return handle_ != nullptr; }
    CURL* Get() const { return handle_; }

    // True when the option was accepted.
    template <class Value>
    bool Set(CURLoption option, Value value) {
        return handle_ != nullptr && curl_easy_setopt(handle_, option, value) == CURLE_OK;
    }

    CURLcode Perform();
    // The status of the last response, 0 when none arrived.
    long ResponseCode() const;

private:
    CURL* handle_ = nullptr;
};

}  // namespace vantor
