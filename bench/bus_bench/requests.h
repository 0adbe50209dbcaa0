// bus_bench: the requests the scenarios send, built from the captured PMT sections and shaped
// by the service's own answers.
#ifndef BENCH_BUS_BENCH_REQUESTS_H
#define BENCH_BUS_BENCH_REQUESTS_H

#include <json/value.h>

#include <string>
#include <vector>

#include "captured_sections.h"
#include "private_bus.h"

namespace bus_bench {

using Section = pmt_test::CapturedSection;

struct Request {
    std::string method;  // for the samples file
    std::string body;
    test_support::Bytes buffer;
};

// The captured sections of the shared test data; throws when there are none.
const std::vector<Section>& ReadSections();

Request Query(const std::string& method);
Request Query(const std::string& method, int data);
Request SendPmt(const Section& section, bool reset);

// The reply's "return_data"; throws when the call fails.
Json::Value ReturnData(test_support::RawClient& client, const Request& request);
// The entry object of an entry query's "return_data", which carries it as JSON text.
Json::Value EntryOf(const Json::Value& return_data);

// The sizes and entry queries of the catalogue, video, audio then subtitle.
struct CatalogueList {
    const char* list;  // the member of GetCatalogue's answer
    const char* size_of;
    const char* get;
};
extern const CatalogueList kCatalogueLists[3];

// The burst of a channel change to `section`, as the service's own answers shape it: the PMT
// with reset, the three sizes, every entry, and GetPID for every component tag of the entries.
std::vector<Request> ChannelChange(test_support::RawClient& service, const Section& section);

// Sends the section with reset; throws when the service refuses it.
void ChangeChannel(test_support::RawClient& service, const Section& section);

}  // namespace bus_bench

#endif
