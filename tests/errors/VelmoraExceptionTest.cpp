// The exception model: what each constructor and message operation puts in the two stacks, own
// stacks over one shared record through copies and clones, the types that Clone and Throw keep or
// lose, stacking context in flight, and a record crossing threads inside std::exception_ptr.
#include "TStringTestSupport.h"

#include <functional>
#include <gtest/gtest.h>
#include <kestal/VelmoraException.h>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using kestal::testing::text;
using kestal::testing::texts;
using Texts = std::vector<std::u16string>;

static_assert(!std::is_base_of_v<std::exception, VelmoraException>);

TError::ErrorInfo record() {
    return TError::ErrorInfo(VelmoraError(5, u"Test_0x00000005"), TError::Client);
}

TFormatStringCore format(char16_t const* pattern, char16_t const* parameter) {
    return TFormatStringCore(pattern).arg(TStringCore(parameter));
}

TEST(VelmoraException, ConstructorsFillTheStacksByTheRedactionRule) {
    const std::list<TStringCore> withEmpty{TStringCore(), u"b"};
    const struct Row {
        std::function<VelmoraException()> make;
        Texts messages, redacted;
    } rows[] = {
        {[] { return VelmoraException(); }, {}, {}},
        {[] { return VelmoraException(TStringCore()); }, {}, {}},
        {[] { return VelmoraException(u"plain"); }, {u"plain"}, {}},
        {[] { return VelmoraException(format(u"f%1", u"x")); }, {u"fx"}, {u"fx"}},
        {[] { return VelmoraException(format(u"%1", u"")); }, {}, {}},
        {[] { return VelmoraException(std::runtime_error("gr\xC3\xBC\xC3\x9F\x1A")); }, {u"grüß"}, {}},
        {[&] { return VelmoraException(withEmpty); }, {u"", u"b"}, {}},
        {[] { return VelmoraException(record()); }, {}, {}},
        {[] { return VelmoraException(u"plain", record()); }, {u"plain"}, {}},
        {[] { return VelmoraException(format(u"f%1", u"x"), record()); }, {u"fx"}, {u"fx"}},
        {[] { return VelmoraException(std::logic_error("w"), record()); }, {u"w"}, {}},
        {[&] { return VelmoraException(withEmpty, record()); }, {u"", u"b"}, {}},
        {[] { return VelmoraOutOfMemoryException(record()); }, {u"Out of memory"}, {}},
        {[] { return VelmoraOutOfMemoryException(u"m", record()); }, {u"m"}, {}},
        {[] { return VelmoraUserErrorException(format(u"%1!", u"u"), record()); }, {u"u!"}, {u"u!"}},
    };
    for (Row const& row : rows) {
        const VelmoraException e = row.make();
        EXPECT_EQ(texts(e.GetMessages()), row.messages) << "row " << &row - rows;
        EXPECT_EQ(texts(e.GetRedactedMessages()), row.redacted) << "row " << &row - rows;
        EXPECT_EQ(e.GetErrorCode(), &row - rows < 7 ? 0u : 5u) << "row " << &row - rows;
    }
    TStringCore converted;
    VelmoraException::ToString(std::runtime_error("\xE2\x82\xAC"), converted);
    EXPECT_EQ(text(converted), u"€");
}

TEST(VelmoraException, EachOperationKeepsTheRedactionRule) {
    VelmoraException e(record());
    const auto expect = [&](Texts const& messages, Texts const& redacted) {
        EXPECT_EQ(texts(e.GetMessages()), messages);
        EXPECT_EQ(texts(e.GetRedactedMessages()), redacted);
    };
    e.StackMessage(format(u"f%1", u"1"));
    e.StackMessage(u"p1");
    e.StackMessageFront(format(u"f%1", u"0"));
    e.StackMessageFront(u"p0");
    e.StackMessage(u"");
    e.StackMessageFront(format(u"%1", u""));
    EXPECT_THROW(e.StackMessage(TFormatStringCore(u"%2").arg(u"x")), TFormatStringCore::Exception);
    EXPECT_THROW(e.StackMessageFront(TFormatStringCore(u"%1")), TFormatStringCore::Exception);
    expect({u"p0", u"f0", u"f1", u"p1"}, {u"f0", u"f1"});
    e.ClearMessages();
    expect({}, {u"f0", u"f1"});
    e.SetMessage(format(u"s%1", u"2"));
    expect({u"s2"}, {u"s2"});
    e.SetMessage(u"plain");
    expect({u"plain"}, {});
    e.StackMessage(format(u"f", u""));
    EXPECT_THROW(e.SetMessage(TFormatStringCore(u"%1")), TFormatStringCore::Exception);
    expect({}, {});
    EXPECT_TRUE(e.GetConcatenatedMessages().isEmpty() && e.GetMessagesFront().isEmpty());

    // One line feed after each message that does not end in one; the log text is the same, in UTF-8.
    const VelmoraException joined(std::list<TStringCore>{u"\u00e9\n\n", TStringCore(), u"\r", u"b"});
    std::ostringstream out;
    out << joined;
    EXPECT_EQ(out.str(), "\xC3\xA9\n\n\n\r\nb\n");
    EXPECT_EQ(joined.GetConcatenatedMessages(), TStringCore::fromStdString(out.str()));
    EXPECT_EQ(text(joined.GetMessagesFront()), u"\u00e9\n\n");
}

TEST(VelmoraException, CopiesShareTheRecordAndOnlyOverridersKeepTheirType) {
    const TFormatStringCore::Exception formatError(u"f", record());
    const VelmoraException root(record());
    const VelmoraOutOfMemoryException memory(record());
    const VelmoraUserErrorException user(u"u", record());
    const std::pair<VelmoraException const*, std::type_info const*> rows[] = {
        {&root, &typeid(VelmoraException)},
        {&memory, &typeid(VelmoraOutOfMemoryException)},
        {&user, &typeid(VelmoraException)},
        {&formatError, &typeid(VelmoraException)},
    };
    for (auto const& [e, expected] : rows) {
        std::unique_ptr<VelmoraException> clone(e->Clone());
        EXPECT_EQ(typeid(*clone), *expected) << typeid(*e).name();
        try {
            e->Throw();
        } catch (VelmoraException const& thrown) {
            EXPECT_EQ(typeid(thrown), *expected) << typeid(*e).name();
            EXPECT_EQ(&thrown.GetErrorInfo(), &e->GetErrorInfo());
        }
    }

    // Copies, assignment (to itself too) and clones: own stacks over the one record.
    VelmoraException source(format(u"%1", u"s"), record()), copy(source), assigned;
    assigned = source;
    VelmoraException const& alias = assigned;
    assigned = alias;
    std::unique_ptr<VelmoraException> clone(source.Clone());
    for (VelmoraException* e : {&copy, &assigned, clone.get()}) {
        EXPECT_EQ(&e->GetErrorInfo(), &source.GetErrorInfo());
        EXPECT_EQ(texts(e->GetRedactedMessages()), Texts{u"s"});
        e->SetMessage(format(u"%1", u"changed"));
    }
    EXPECT_EQ(texts(source.GetMessages()), Texts{u"s"});
    EXPECT_EQ(texts(source.GetRedactedMessages()), Texts{u"s"});
}

TEST(VelmoraException, StackExceptionAndRethrowAddsToTheObjectInFlight) {
    void const* inFlight = nullptr;
    try {
        try {
            throw VelmoraUserErrorException(u"inner", record());
        } catch (VelmoraException const& e) {
            inFlight = &e;
            StackExceptionAndRethrow(format(u"while %1", u"loading"));
        }
    } catch (VelmoraUserErrorException const& e) {
        EXPECT_EQ(&e, inFlight);
        EXPECT_EQ(texts(e.GetMessages()), (Texts{u"inner", u"while loading"}));
        EXPECT_EQ(texts(e.GetRedactedMessages()), Texts{u"while loading"});
    }
    try {
        try {
            throw std::runtime_error("foreign");
        } catch (...) {
            StackExceptionAndRethrow(u"dropped");
        }
    } catch (std::exception const& e) { // passed through untouched
        EXPECT_TRUE(typeid(e) == typeid(std::runtime_error) && e.what() == std::string("foreign"));
    }
}

TEST(VelmoraException, RecordCrossesThreadsInsideExceptionPtr) {
    std::exception_ptr carried;
    std::thread([&] {
        carried = std::make_exception_ptr(VelmoraUserErrorException(format(u"%1", u"w"), record()));
    }).join();
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                try {
                    std::rethrow_exception(carried);
                } catch (VelmoraException const& e) {
                    VelmoraException copy(e); // shares the record from several threads at once
                    copy.StackMessage(u"reader");
                    if (copy.GetErrorCode() != 5 || copy.GetMessages().size() != 2) std::abort();
                }
            }
        });
    }
    for (std::thread& t : readers)
        t.join();
}

} // namespace
