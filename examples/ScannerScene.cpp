// Scene: scanner. Reads "name = value" settings line by line with one scanner over the whole text
// and one over each line: the name, blanks, '=', blanks, then a value read as the setting's kind
// wants it, and nothing behind it. A malformed line raises at its field; the scene stacks the line
// number on the exception, logs it and goes on with the next line.
#include "TourScenes.h"

#include <iostream>

namespace tour {

namespace {

constexpr char16_t kSettings[] = u"# tour settings\n"
                                 u"threads = 4\n"
                                 u"ratio = 0.75\r\n"
                                 u"verbose = yes\n"
                                 u"\n"
                                 u"threads = four\n"
                                 u"ratio = 1.5 or so\n"
                                 u"title = The quick brown fox\n";

// One setting from its line; raises TScanStringCore::Exception where the line goes wrong.
void readSetting(TStringCore const& line) {
    TScanStringCore scan(line);
    TStringCore name, value;
    scan.readAnyNotOf(name, u" \t=").skipWhitespace().skip(u"=").skipWhitespace();
    if (name == u"threads") {
        int threads = 0;
        scan.readInt(threads);
        value = TStringCore::number(threads);
    } else if (name == u"ratio") {
        double ratio = 0;
        scan.readFloat(ratio);
        value = TStringCore::number(ratio);
    } else if (name == u"verbose") {
        bool verbose = false;
        scan.readBool(verbose);
        value = verbose ? u"on" : u"off";
    } else {
        scan.readAnyNotOf(value, u"\r"); // the rest of the line; a CR stays in a line read to LF
    }
    scan.skipWhitespace().end(); // nothing may follow the value
    std::cout << "  " << utf8Of(name) << " = " << utf8Of(value) << '\n';
}

} // namespace

void scannerScene() {
    std::cout << "scanner: settings read one line at a time\n";
    TScanStringCore settings(kSettings);
    TStringCore line;
    for (int number = 1; !settings.atEnd(); ++number) {
        settings.readLine(line);
        if (line.isEmpty() || line.startsWith(u'#')) continue;
        try {
            try {
                readSetting(line);
            } catch (...) {
                StackExceptionAndRethrow(TFormatStringCore(u"In line %1 of the settings.").arg(number));
            }
        } catch (TScanStringCore::Exception const& e) {
            std::cout << "  skipped a malformed line (code " << utf8Of(e.GetErrorName()) << "):\n" << e;
        }
    }
}

} // namespace tour
