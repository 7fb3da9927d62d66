// Scene: errors. A check deep down refuses the text with a user error worded by a format string;
// each level on the way up stacks its context on the same exception and rethrows it. The top
// prints the collated messages and sends the error record through its three strings and back.
#include "TourScenes.h"

#include <iostream>

namespace tour {

namespace {

constexpr int kLimit = 40; // code units a "title" may have

void checkTitle(TStringCore const& title) {
    if (title.size() <= kLimit) return;
    throw VelmoraUserErrorException(TFormatStringCore(u"The title has %1 code units; at most %2 are allowed.")
                                        .arg(title.size())
                                        .arg(kLimit),
                                    TError::ErrorInfo(VelmoraError(0x5CE7E001u, u"Tour_0x5CE7E001"),
                                                      TError::Client, grpc::StatusCode::INVALID_ARGUMENT));
}

void importDocument(TStringCore const& text) {
    try {
        checkTitle(text.section(u'\n', 0, 0));
    } catch (...) {
        StackExceptionAndRethrow(
            TFormatStringCore(u"While importing a document of %1 lines.")
                .arg(static_cast<int>(text.split(u'\n', TStringCore::SkipEmpty).size())));
    }
}

} // namespace

void errorsScene(std::string const& utf8) {
    const TStringCore text = TStringCore::fromStdString(utf8);
    try {
        try {
            importDocument(text);
            std::cout << "errors: the title fits in " << kLimit << " code units\n";
            return;
        } catch (...) {
            StackExceptionAndRethrow(u"The tour could not import its input."); // plain text: not redacted
        }
    } catch (VelmoraUserErrorException const& e) {
        std::cout << "errors: caught a user error, " << e.GetMessages().size() << " messages ("
                  << e.GetRedactedMessages().size() << " from format strings):\n"
                  << e;
        TStringCore code, source, status;
        e.GetErrorInfo().GetMembersAsStrings(code, source, status);
        const TError::ErrorInfo back = TError::ErrorInfo::FromStringifiedMembers(code, source, status);
        std::cout << "  record as text: " << utf8Of(code) << ' ' << utf8Of(source) << ' ' << utf8Of(status)
                  << "\n  and back: " << back << ", named " << utf8Of(back.GetVelmoraError().GetCodeName())
                  << (back == e.GetErrorInfo() ? ", equal to the original\n" : ", not equal\n");
    }
}

} // namespace tour
