// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// zemvar-korvit-send URL: POSTs one JSON document to URL over HTTPS and tells by its exit
// status whether the service took it (0: a 2xx answer, 1: anything else, 2: wrong use).
// Standard input holds the access token on the first line and the document after it.
//
// KorvitClient runs it for each request, so that libcurl, OpenSSL and the certificate store
// (about 10 MiB) live only as long as a request, never in the app itself, and so that a
// request is abandoned at once by ending the process. The server's certificate is always
// verified; ZEMVAR_KORVIT_CA_FILE names a PEM file of further trusted certificates.
#include <cstdio>
#include <cstdlib>
#include <curl/curl.h>
#include <iostream>
#include <iterator>
#include <memory>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <string>

namespace {

constexpr long timeoutMilliseconds = 60'000;

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// Adds the certificates of the PEM file `file` to the ones the connection trusts; a file that
// cannot be read fails the request.
CURLcode trustExtraCertificates(CURL*, void* sslContext, void* file) {
    X509_STORE* store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(sslContext));
    return store != nullptr && X509_STORE_load_file(store, static_cast<const char*>(file)) == 1
               ? CURLE_OK
               : CURLE_SSL_CACERT_BADFILE;
}

std::size_t discardBody(char*, std::size_t size, std::size_t count, void*) {
    return size * count;
}

bool post(const char* url, const std::string& key, const std::string& body) {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        return false;
    }
    const std::unique_ptr<CURL, EasyDeleter> easy(curl_easy_init());
    curl_slist* list = nullptr;
    // An empty "Expect:" keeps libcurl from waiting for a "100 Continue" before a longer body.
    for (const std::string& header :
         {"Authorization: Bearer " + key, std::string("Content-Type: application/json"),
          std::string("Expect:")}) {
        curl_slist* longer = curl_slist_append(list, header.c_str());
        if (longer == nullptr) {
            curl_slist_free_all(list);
            return false;
        }
        list = longer;
    }
    const std::unique_ptr<curl_slist, ListDeleter> headers(list);
    if (easy == nullptr) {
        return false;
    }
    CURL* request = easy.get();
    bool ready = curl_easy_setopt(request, CURLOPT_URL, url) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_PROTOCOLS_STR, "https") == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POST, 1L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POSTFIELDS, body.data()) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POSTFIELDSIZE_LARGE,
                                  static_cast<curl_off_t>(body.size())) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_HTTPHEADER, headers.get()) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_TIMEOUT_MS, timeoutMilliseconds) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_SSL_VERIFYPEER, 1L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_SSL_VERIFYHOST, 2L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_WRITEFUNCTION, discardBody) == CURLE_OK;
    const char* extraCertificates = std::getenv("ZEMVAR_KORVIT_CA_FILE");
    if (ready && extraCertificates != nullptr && *extraCertificates != '\0') {
        ready = curl_easy_setopt(request, CURLOPT_SSL_CTX_FUNCTION, trustExtraCertificates) ==
                    CURLE_OK &&
                curl_easy_setopt(request, CURLOPT_SSL_CTX_DATA, extraCertificates) == CURLE_OK;
    }
    long status = 0;
    return ready && curl_easy_perform(request) == CURLE_OK &&
           curl_easy_getinfo(request, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK &&
           status >= 200 && status <= 299;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: zemvar-korvit-send URL < (token line, then the JSON document)\n",
                   stderr);
        return 2;
    }
    std::string key;
    if (!std::getline(std::cin, key)) {
        return 2;
    }
    const std::string body{std::istreambuf_iterator<char>(std::cin),
                           std::istreambuf_iterator<char>()};
    return post(argv[1], key, body) ? 0 : 1;
}
