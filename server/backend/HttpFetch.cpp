#include "HttpFetch.h"

#include "../http/HostCheck.h"

#include <curl/curl.h>

#include <boost/algorithm/string/predicate.hpp>

#include <memory>
#include <mutex>
#include <stdexcept>

namespace tailwise::backend {
namespace {

void initialiseOnce()
{
    // Not thread-safe in itself, so once for the process, before the first handle.
    static std::once_flag once;
    std::call_once(once, [] {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
            throw std::runtime_error("libcurl could not be initialised");
    });
}

bool loopbackHost(const std::string &url)
{
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), curl_url_cleanup);
    char *host = nullptr;
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK ||
        curl_url_get(parsed.get(), CURLUPART_HOST, &host, 0) != CURLUE_OK)
        return false;
    const std::string name = host;
    curl_free(host);
    return net::isLoopbackName(name);
}

struct Sink
{
    std::string body;
    std::size_t maxBytes;
    bool tooLarge = false;
};

std::size_t collect(char *data, std::size_t size, std::size_t count, void *userData)
{
    auto &sink = *static_cast<Sink *>(userData);
    const std::size_t bytes = size * count;
    if (sink.body.size() + bytes > sink.maxBytes) {
        sink.tooLarge = true;
        return 0; // ends the transfer
    }
    sink.body.append(data, bytes);
    return bytes;
}

} // namespace

bool isHttpUrl(std::string_view text)
{
    return boost::algorithm::istarts_with(text, "https://") ||
           boost::algorithm::istarts_with(text, "http://");
}

std::string fetchUrl(const std::string &url, const FetchLimits &limits)
{
    initialiseOnce();
    const bool plainAllowed = loopbackHost(url);
    if (!boost::algorithm::istarts_with(url, "https://") &&
        !(plainAllowed && boost::algorithm::istarts_with(url, "http://")))
        throw std::runtime_error(url + ": only https addresses (or http on this machine) are used");

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl)
        throw std::runtime_error("libcurl could not make a handle");
    Sink sink{{}, limits.maxBytes};
    char error[CURL_ERROR_SIZE] = {};
    CURL *handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, plainAllowed ? "http,https" : "https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L); // we run on many threads
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(limits.connectTimeout.count()));
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(limits.totalTimeout.count()));
    curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.maxBytes));
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error);
    const CURLcode result = curl_easy_perform(handle);
    if (sink.tooLarge || result == CURLE_FILESIZE_EXCEEDED)
        throw std::runtime_error(url + ": answer larger than " + std::to_string(limits.maxBytes) +
                                 " bytes");
    if (result != CURLE_OK)
        throw std::runtime_error(url + ": " +
                                 (error[0] ? std::string(error) : curl_easy_strerror(result)));
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200)
        throw std::runtime_error(url + ": answered HTTP " + std::to_string(status));
    return std::move(sink.body);
}

} // namespace tailwise::backend
