// SPDX-License-Identifier: Apache-2.0
// What is made of the Accept headers of scrapers and browsers.
#include "agent/front/serve/negotiation.h"

#include <gtest/gtest.h>

namespace negotiation_test {

namespace {

bool isOpen(const char* accept) {
  return serve::expositionFor(accept) == render::Exposition::openMetrics;
}

}  // namespace

TEST(Negotiation, ScrapersThatNameOpenMetricsGetIt) {
  for (const char* accept :
       {"application/openmetrics-text", "application/openmetrics-text; version=1.0.0",
        "application/openmetrics-text;version=\"1.0.0\";charset=utf-8",
        "Application/OpenMetrics-Text;Version=1.0.0;q=1.000",
        "application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;"
        "q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
        "application/openmetrics-text;version=1.0.0;escaping=allow-utf-8;q=0.5,"
        "text/plain;version=0.0.4;q=0.2,*/*;q=0.9",
        "text/plain, application/openmetrics-text", "application/openmetrics-text;q=0.001",
        "text/html;x=\",\", application/openmetrics-text"}) {
    EXPECT_TRUE(isOpen(accept)) << accept;
  }
}

TEST(Negotiation, AllOthersGetPlainText) {
  for (const char* accept : {"",
                             "*/*",
                             "text/plain",
                             "text/html,application/xhtml+xml,*/*;q=0.8",
                             "application/*",
                             "application/openmetrics-text;q=0",
                             "application/openmetrics-text;q=0.000",
                             "application/openmetrics-text;version=0.0.1",
                             "application/openmetrics-text;version=2.0.0",
                             "text/plain;q=0.5, application/openmetrics-text;q=0.4",
                             "application/openmetrics-text;q=1.001",
                             "application/openmetrics-text;q=x",
                             "application/openmetrics-text;q=",
                             "application/openmetrics-text;q=-1",
                             "application/openmetrics-text;q=0.1234",
                             "application/openmetrics-text;q=0,5",
                             "application/openmetrics-textx",
                             "\"application/openmetrics-text",
                             ",,;;,=;q",
                             "\\",
                             "\"\\",
                             "\xFF\xFE"}) {
    EXPECT_FALSE(isOpen(accept)) << accept;
  }
}

TEST(Negotiation, GzipHasToBeWanted) {
  for (const char* list : {"gzip", "GZip", "deflate, gzip;q=1.0, br", "x-gzip", "*", "*;q=0.1",
                           "gzip ; q = 0.5", "identity;q=0,gzip"}) {
    EXPECT_TRUE(serve::takesGzip(list)) << list;
  }
  for (const char* list : {"", "identity", "gzip;q=0", "gzip;q=0.000", "*;q=0", "gzip;q=0, *",
                           "br, deflate", "gzipped", "gzip;q=2", "\"gzip\""}) {
    EXPECT_FALSE(serve::takesGzip(list)) << list;
  }
}

}  // namespace negotiation_test
