// XML read by a real parser: Python's, as Debian installs it.
#ifndef ALAD_TESTS_TOOLS_XML_CHECK_H
#define ALAD_TESTS_TOOLS_XML_CHECK_H

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/verify/verify_test_util.h"

namespace alad_test {

inline bool HavePython() { return std::filesystem::exists("/usr/bin/python3"); }

// Runs a Python program on the file `path`, with its scratch files in `scratch`: what it printed,
// then "python failed" when it did not end well.
inline std::string RunPython(const std::string& program, const std::string& path, const std::string& scratch) {
    WriteText(scratch + "/program.py", program);
    const std::string command =
        "/usr/bin/python3 '" + scratch + "/program.py' '" + path + "' > '" + scratch + "/python.txt' 2>&1";
    const int status = std::system(command.c_str());
    return ReadFile(scratch + "/python.txt") + (status == 0 ? "" : "python failed");
}

// An XML file line by line: "root: NAME", "width: VALUE" of the root, then "NAME: TEXT" for every
// element (namespaces dropped); a file that is not well-formed gives the parser's error instead.
inline std::string XmlOutline(const std::string& path, const std::string& scratch) {
    return RunPython("import sys, xml.etree.ElementTree as E\n"
                     "name = lambda e: e.tag.split('}')[-1]\n"
                     "r = E.parse(sys.argv[1]).getroot()\n"
                     "lines = ['root: ' + name(r), 'width: ' + str(r.get('width'))]\n"
                     "lines += [name(e) + ': ' + (e.text or '') for e in r.iter()]\n"
                     "sys.stdout.buffer.write(('\\n'.join(lines) + '\\n').encode())\n",
                     path, scratch);
}

}  // namespace alad_test

#endif  // ALAD_TESTS_TOOLS_XML_CHECK_H
