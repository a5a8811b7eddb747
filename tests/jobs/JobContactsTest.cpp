#include "jobs/Job.h"

#include "fsutil/LogLines.h"
#include "jobs/Json.h"
#include "jobs/SampleJob.h"

#include <functional>
#include <gtest/gtest.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;
using Testing::SampleContact;

class JobContacts : public testing::Test {
protected:
    /// A list with these IDs, as a job file may hold it.
    void List(const std::vector<int>& ids) {
        job.Details().contacts.clear();
        for (const int id : ids) {
            job.Details().contacts.push_back(SampleContact("listed " + std::to_string(id)));
            job.Details().contacts.back().id = static_cast<uint8_t>(id);
        }
    }
    std::vector<int> Ids() const {
        std::vector<int> ids;
        for (const Contact& contact : job.Details().contacts)
            ids.push_back(contact.id);
        return ids;
    }
    int IdOfNew(const std::string& name = "new") {
        Contact contact = SampleContact(name);
        EXPECT_EQ(job.AddContact(contact), JOB_RTN_SUCCEEDED);
        EXPECT_EQ(job.Details().contacts.back().id, contact.id);
        return contact.id;
    }
    static std::vector<int> Range(int first, int last) {
        std::vector<int> ids;
        for (int id = first; id <= last; ++id)
            ids.push_back(id);
        return ids;
    }

    Testing::TestLog log;
    Job job;
};

TEST_F(JobContacts, IdsRiseAndWrapIntoTheFirstGap) {
    struct Row {
        std::vector<int> listed;
        int expected;
    };
    for (const Row& row : std::vector<Row>{
             {{}, 1},
             {{1}, 2},
             {{2}, 3}, // 1 is not used again while the top is free
             {{7, 3}, 8},
             {Range(1, 254), 255},
             {{255}, 1},
             {{1, 255}, 2},
             {{255, 6, 5}, 7},
             {{255, 1, 2, 4}, 3},
             {Range(2, 255), 1},
             {Range(100, 255), 1},
             {{0, 255}, 1},
             {{3, 3, 255}, 4},
         }) {
        List(row.listed);
        EXPECT_EQ(IdOfNew(), row.expected) << testing::PrintToString(row.listed);
    }
}

TEST_F(JobContacts, AnEqualContactIsRefusedBeforeTheListIsFull) {
    List(Range(1, 255));
    Contact twin = SampleContact("listed 7");
    twin.id = 9;
    twin.contactSource = 3;
    EXPECT_TRUE(job.ContactExists(twin));
    EXPECT_EQ(job.AddContact(twin), JOB_RTN_ENTRY_EXISTS);
    Contact other = SampleContact("other");
    EXPECT_EQ(job.AddContact(other), JOB_RTN_LIST_FULL);
    EXPECT_EQ(Ids(), Range(1, 255));
    EXPECT_EQ(log.TakeErrors(), (Lines{"Job::AddContact - Entry already exists",
                                       "Job::AddContact - Contact list full.  Maximum list size is 255 entries."}));
}

TEST_F(JobContacts, AreFoundByTheirId) {
    List({1, 2, 3});
    EXPECT_EQ(job.RemoveContact(2), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(Ids(), (std::vector<int>{1, 3}));
    Contact changed = SampleContact("changed");
    changed.id = 3;
    changed.contactSource = 5;
    EXPECT_EQ(job.UpdateContact(changed), JOB_RTN_SUCCEEDED);
    Contact read;
    EXPECT_EQ(job.GetContact(3, read), JOB_RTN_SUCCEEDED);
    EXPECT_TRUE(read.SaysTheSameAs(changed));
    EXPECT_EQ(read.contactSource, 5u);
    EXPECT_EQ(job.ContactsJSONstring(), R"([{"firstName":"listed 1","id":1},{"firstName":"changed","id":3}])");
    EXPECT_EQ(log.Take().size(), 0u);

    std::string text = "as it was";
    EXPECT_EQ(job.ContactJSONstring(2, text), JOB_RTN_ENTRY_NOT_FOUND);
    EXPECT_EQ(text, "as it was");
    changed.id = 2;
    EXPECT_EQ(job.UpdateContact(changed), JOB_RTN_ENTRY_NOT_FOUND);
    EXPECT_EQ(job.RemoveContact(2), JOB_RTN_ENTRY_NOT_FOUND);
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"Job::GetContact - Contact Id not found: 2", "Job::UpdateContact - Contact Id not found: 2",
                     "Job::RemoveContact - Contact Id not found: 2"}));
    EXPECT_EQ(Ids(), (std::vector<int>{1, 3}));
    EXPECT_EQ(job.ContactJSONstring(3, text), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(text, R"({"firstName":"changed","id":3})");
}

TEST_F(JobContacts, OneCompanyContactPerSource) {
    const auto set = [this](const char* text, uint32_t source) {
        return job.SetCompanyContactByJSONstring(json::parse(text), source);
    };
    EXPECT_EQ(set("{}", 1), JOB_RTN_SUCCEEDED) << "nothing to remove";
    EXPECT_TRUE(Ids().empty());
    EXPECT_EQ(set(R"({"firstName":"Ann","contactSource":9})", 1), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(set(R"({"firstName":"Bo"})", 2), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(set(R"({"firstName":"Cy","id":77})", 1), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.ContactsJSONstring(), R"([{"firstName":"Cy","id":1},{"firstName":"Bo","id":2}])");
    EXPECT_EQ(job.Details().contacts[0].contactSource, 1u);
    EXPECT_EQ(set(R"({"firstName":""})", 1), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(Ids(), std::vector<int>{2});
    EXPECT_EQ(log.Take().size(), 0u);

    for (const char* invalid : {R"({"phones":5})", R"({"id":"x"})", "[]", "5"}) {
        EXPECT_EQ(set(invalid, 2), JOB_RTN_INVALID_FIELDS) << invalid;
        EXPECT_EQ(log.TakeErrors().back(),
                  std::string("Job::SetCompanyContactByJSONstring - contact has invalid/missing fields:") + invalid);
    }
    EXPECT_EQ(job.ContactsJSONstring(), R"([{"firstName":"Bo","id":2}])");
}

TEST_F(JobContacts, TextsReplaceTheWholeValue) {
    Testing::FillSampleJob(job);
    EXPECT_EQ(job.SetAddressByJSONstring(R"({"city":"Port","floor":3})"), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.AddressJSONstring(), R"({"city":"Port"})");
    EXPECT_EQ(job.SetCustomerByJSONstring(R"({"title":"Dr"})"), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.CustomerJSONstring(), R"({"title":"Dr"})");
    EXPECT_EQ(job.Details().customer.contactSource, 0u);

    uint8_t id = 0;
    EXPECT_EQ(job.AddContactByJSONstring(R"({"firstName":"Cy","id":"1"})", id), JOB_RTN_INVALID_FIELDS);
    EXPECT_EQ(job.AddContactByJSONstring(R"({"firstName":"Cy","id":1})", id), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(id, 4) << "the ID of the text is not looked at";
    EXPECT_EQ(job.UpdateContactByJSONstring(R"({"lastName":"Lee","id":4})"), JOB_RTN_SUCCEEDED);
    std::string text;
    job.ContactJSONstring(4, text);
    EXPECT_EQ(text, R"({"id":4,"lastName":"Lee"})");
    id = 9;
    EXPECT_EQ(job.AddContactByJSONstring(R"({"lastName":"Lee"})", id), JOB_RTN_ENTRY_EXISTS);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(job.UpdateContactByJSONstring(R"({"id":99})"), JOB_RTN_ENTRY_NOT_FOUND);
}

TEST_F(JobContacts, ATextThatIsRefusedChangesNothing) {
    struct Operation {
        std::string name, what;
        std::function<jobRtn_e(const std::string&)> call;
    };
    uint8_t id = 0;
    const std::vector<Operation> operations{
        {"SetAddressByJSONstring", "address",
         [&](const std::string& text) { return job.SetAddressByJSONstring(text); }},
        {"SetCustomerByJSONstring", "customer",
         [&](const std::string& text) { return job.SetCustomerByJSONstring(text); }},
        {"AddContactByJSONstring", "contact",
         [&](const std::string& text) { return job.AddContactByJSONstring(text, id); }},
        {"UpdateContactByJSONstring", "contact",
         [&](const std::string& text) { return job.UpdateContactByJSONstring(text); }},
    };
    Testing::FillSampleJob(job);
    const std::string before = job.JSONstring(JSON_MODE_FILE);
    for (const Operation& operation : operations) {
        const std::string start = "Job::" + operation.name + " - ";
        for (const std::string& text :
             {std::string(""), std::string("{"), std::string("{} x"), std::string("{\"a\":1e999}"),
              std::string("\"\xff\""), std::string(100000, '[')}) {
            EXPECT_EQ(operation.call(text), JOB_RTN_INVALID_JSON) << start << text;
            EXPECT_TRUE(log.TakeErrors().back().starts_with(start + "Failed to parse " + operation.what + ": "));
        }
        for (const std::string text : {"[]", "5", "null", "\"x\"", R"({"position":{},"phones":5})"}) {
            EXPECT_EQ(operation.call(text), JOB_RTN_INVALID_FIELDS) << start << text;
            EXPECT_EQ(log.TakeErrors().back(), start + operation.what + " has invalid/missing fields:" + text);
        }
    }
    for (const char* const text : {R"({"firstName":"Ann"})", R"({"id":257})", R"({"id":1.9})", R"({"id":-255})",
                                   R"({"id":1e300})", R"({"id":18446744073709551361})"})
        EXPECT_EQ(job.UpdateContactByJSONstring(text), JOB_RTN_INVALID_FIELDS) << text;
    EXPECT_EQ(job.JSONstring(JSON_MODE_FILE), before);
}

} // namespace
} // namespace JobsManagerD
