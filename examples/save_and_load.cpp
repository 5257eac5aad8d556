// The road of one request, through the object interfaces and the C++ layer of Convenience.h: a
// uint32 setting is stored under "group/value" in a binary set, saved to a file, loaded into a
// new set and read back; then the loaded set is copied into an XML set, whose document is printed.
//
// Every object is held by an AutoRefCounted handle, which gives its reference back when it goes
// out of scope. Failures arrive as exceptions; they are reported once, in main.
//
//   save_and_load_cpp [FILE]     (FILE defaults to example.cfg)
#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

using com::orvandel::AutoRefCounted;
using namespace com::orvandel::configuration;

namespace {

int run(const std::string& filePath) {
    const IConfigurationSetFactory& factory = *getConfigurationSetFactory();
    AutoRefCounted<IConfigurationSet> set =
        factory.createConfigurationSet("BinaryConfigurationSet");
    put(*set, "group/value", uint32_t{7});
    set->save(filePath);
    std::cout << "C++: saved group/value = 7 to " << filePath << '\n';

    AutoRefCounted<IConfigurationSet> loaded =
        factory.createConfigurationSet("BinaryConfigurationSet");
    loaded->load(filePath);
    const uint32_t value = get<uint32_t>(*loaded, "group/value");
    std::cout << "C++: loaded group/value = " << value << '\n';

    const std::vector<unsigned char> xml = serialize(*clone(*loaded, "XMLConfigurationSet"));
    std::cout << "The same settings as XML:\n" << std::string(xml.begin(), xml.end()) << '\n';
    return value == 7 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc > 1 ? argv[1] : "example.cfg");
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        std::cerr << "configuration set failure " << exception << '\n';
    } catch (const std::exception& exception) {
        std::cerr << "failure: " << exception.what() << '\n';
    }
    return 1;
}
