// The exception model: what each constructor and message operation puts in the two stacks, deep
// stacks over one shared record through copies and clones, the types that Clone and Throw keep or
// lose, stacking context in flight, and a record crossing threads inside std::exception_ptr.
#include "TStringTestSupport.h"

#include <functional>
#include <gtest/gtest.h>
#include <kestal/TFormatStringCore.h>
#include <kestal/VelmoraException.h>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <typeinfo>

namespace {

using kestal::testing::text;
using Texts = std::vector<std::u16string>;

static_assert(!std::is_base_of_v<std::exception, VelmoraException>);

Texts texts(std::list<TStringCore> const& list) {
    Texts out;
    for (TStringCore const& s : list)
        out.push_back(text(s));
    return out;
}

TError::ErrorInfo record() {
    return TError::ErrorInfo(VelmoraError(5, u"Test_0x00000005"), TError::Client);
}

TFormatStringCore format(char16_t const* pattern, char16_t const* parameter) {
    return TFormatStringCore(pattern).arg(TStringCore(parameter));
}

TEST(VelmoraException, ConstructorsFillTheStacksByTheRedactionRule) {
    struct Row {
        std::function<VelmoraException()> make;
        Texts messages, redacted;
        unsigned int code;
    };
    const std::list<TStringCore> withEmpty{TStringCore(), u"b"};
    const Row rows[] = {
        {[] { return VelmoraException(); }, {}, {}, 0},
        {[] { return VelmoraException(record()); }, {}, {}, 5},
        {[] { return VelmoraException(TStringCore()); }, {}, {}, 0},
        {[] { return VelmoraException(u"plain"); }, {u"plain"}, {}, 0},
        {[] { return VelmoraException(format(u"f%1", u"x")); }, {u"fx"}, {u"fx"}, 0},
        {[] { return VelmoraException(TFormatStringCore(u"%1").arg(u"")); }, {}, {}, 0},
        {[] { return VelmoraException(std::runtime_error("gr\xC3\xBC\xC3\x9F\x1A")); }, {u"grüß"}, {}, 0},
        {[] { return VelmoraException(std::runtime_error("")); }, {}, {}, 0},
        {[&] { return VelmoraException(withEmpty); }, {u"", u"b"}, {}, 0},
        {[] { return VelmoraException(u"plain", record()); }, {u"plain"}, {}, 5},
        {[] { return VelmoraException(format(u"f%1", u"x"), record()); }, {u"fx"}, {u"fx"}, 5},
        {[] { return VelmoraException(std::logic_error("w"), record()); }, {u"w"}, {}, 5},
        {[&] { return VelmoraException(withEmpty, record()); }, {u"", u"b"}, {}, 5},
        {[] { return VelmoraOutOfMemoryException(record()); }, {u"Out of memory"}, {}, 5},
        {[] { return VelmoraOutOfMemoryException(u"m", record()); }, {u"m"}, {}, 5},
        {[&] { return VelmoraOutOfMemoryException(withEmpty, record()); }, {u"", u"b"}, {}, 5},
        {[] { return VelmoraUserErrorException(u"u", record()); }, {u"u"}, {}, 5},
        {[] { return VelmoraUserErrorException(format(u"%1!", u"u"), record()); }, {u"u!"}, {u"u!"}, 5},
    };
    for (Row const& row : rows) {
        const VelmoraException e = row.make();
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(texts(e.GetMessages()), row.messages);
        EXPECT_EQ(texts(e.GetRedactedMessages()), row.redacted);
        EXPECT_EQ(e.GetErrorCode(), row.code);
        EXPECT_EQ(e.GetErrorSource(), row.code ? TError::Client : TError::NeedsClassification);
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
    e.StackMessageFront(TStringCore(u"p0"));
    e.StackMessage(u"");
    e.StackMessageFront(format(u"%1", u""));
    expect({u"p0", u"f0", u"f1", u"p1"}, {u"f0", u"f1"});
    EXPECT_THROW(e.StackMessage(TFormatStringCore(u"%2").arg(u"x")), TFormatStringCore::Exception);
    EXPECT_THROW(e.StackMessageFront(TFormatStringCore(u"%1")), TFormatStringCore::Exception);
    expect({u"p0", u"f0", u"f1", u"p1"}, {u"f0", u"f1"});
    EXPECT_EQ(e.GetMessagesVector().size(), 4u);
    e.ClearMessages();
    expect({}, {u"f0", u"f1"});
    e.SetMessage(format(u"s%1", u"2"));
    expect({u"s2"}, {u"s2"});
    e.SetMessage(u"plain");
    expect({u"plain"}, {});
    e.StackMessage(format(u"f", u""));
    EXPECT_THROW(e.SetMessage(TFormatStringCore(u"%1")), TFormatStringCore::Exception);
    expect({}, {});
}

TEST(VelmoraException, MessagesJoinWithOneLineFeedEach) {
    const std::pair<std::list<TStringCore>, std::u16string> rows[] = {
        {{}, u""},
        {{TStringCore()}, u"\n"},
        {{u"a", u"b"}, u"a\nb\n"},
        {{u"a\n", u"b"}, u"a\nb\n"},
        {{u"a\n\n", TStringCore(), u"\r"}, u"a\n\n\n\r\n"},
    };
    for (auto const& [messages, joined] : rows) {
        const VelmoraException e(messages);
        EXPECT_EQ(text(e.GetConcatenatedMessages()), joined);
        EXPECT_EQ(text(e.CollateMessagesForLog()), joined);
        EXPECT_EQ(text(e.GetMessagesFront()), messages.empty() ? u"" : text(messages.front()));
        std::ostringstream out;
        out << e;
        EXPECT_EQ(TStringCore::fromStdString(out.str()), TStringCore(joined.c_str(), int(joined.size())));
    }
}

TEST(VelmoraException, CopiesHaveOwnStacksOverOneRecord) {
    VelmoraException source(format(u"%1", u"s"), record());
    VelmoraException copy(source);
    VelmoraException assigned;
    assigned = source;
    VelmoraException const& alias = assigned;
    assigned = alias;
    std::unique_ptr<VelmoraException> clone(source.Clone());
    for (VelmoraException* e : {&copy, &assigned, clone.get()}) {
        EXPECT_EQ(&e->GetErrorInfo(), &source.GetErrorInfo());
        EXPECT_EQ(texts(e->GetRedactedMessages()), Texts{u"s"});
        e->SetMessage(u"changed");
        e->StackMessage(format(u"%1", u"more"));
    }
    EXPECT_EQ(texts(source.GetMessages()), Texts{u"s"});
    EXPECT_EQ(texts(source.GetRedactedMessages()), Texts{u"s"});
}

TEST(VelmoraException, CloneAndThrowKeepOnlyTheTypesThatOverrideThem) {
    std::unique_ptr<VelmoraException> formatError;
    try {
        TFormatStringCore bad(u"%");
    } catch (VelmoraException const& e) {
        formatError.reset(
            new TFormatStringCore::Exception(dynamic_cast<TFormatStringCore::Exception const&>(e)));
    }
    ASSERT_TRUE(formatError);
    const VelmoraException root(record());
    const VelmoraOutOfMemoryException memory(record());
    const VelmoraUserErrorException user(u"u", record());
    const std::pair<VelmoraException const*, std::type_info const*> rows[] = {
        {&root, &typeid(VelmoraException)},
        {&memory, &typeid(VelmoraOutOfMemoryException)},
        {&user, &typeid(VelmoraException)},
        {formatError.get(), &typeid(VelmoraException)},
    };
    for (auto const& [e, expected] : rows) {
        std::unique_ptr<VelmoraException> clone(e->Clone());
        EXPECT_EQ(typeid(*clone), *expected) << typeid(*e).name();
        EXPECT_EQ(texts(clone->GetMessages()), texts(e->GetMessages()));
        try {
            e->Throw();
        } catch (VelmoraException const& thrown) {
            EXPECT_EQ(typeid(thrown), *expected) << typeid(*e).name();
            EXPECT_EQ(&thrown.GetErrorInfo(), &e->GetErrorInfo());
        }
    }
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
    const std::runtime_error foreign("foreign");
    try {
        try {
            throw foreign;
        } catch (...) {
            StackExceptionAndRethrow(u"dropped");
        }
    } catch (std::runtime_error const& e) {
        EXPECT_STREQ(e.what(), "foreign");
        EXPECT_EQ(typeid(e), typeid(std::runtime_error));
    }
}

TEST(VelmoraException, RecordCrossesThreadsInsideExceptionPtr) {
    std::exception_ptr carried;
    std::thread([&] {
        try {
            throw VelmoraUserErrorException(format(u"from %1", u"worker"), record());
        } catch (...) {
            carried = std::current_exception();
        }
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
