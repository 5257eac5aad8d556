// The road of one request, through the object interfaces: a uint32 setting is stored under
// "group/value" in a binary set, saved to a file, loaded into a new set and read back; then the
// loaded settings are written as an XML document, which is printed.
//
// Every object is held by an AutoRefCounted handle, which gives its reference back when it goes
// out of scope. Failures arrive as exception values thrown by value.
//
//   save_and_load_cpp [FILE]     (FILE defaults to example.cfg)
#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

using com::orvandel::AutoRefCounted;
using namespace com::orvandel::configuration;

namespace {

void save(const IConfigurationSetFactory& factory, const std::string& filePath) {
    AutoRefCounted<IConfigurationSet> set =
        factory.createConfigurationSet("BinaryConfigurationSet");
    AutoRefCounted<ISetting> setting = factory.createSetting();
    setting->initialize(ISetting::uint32Type);
    setting->setValue(static_cast<uint32_t>(7));
    set->insertSetting("group/value", setting);  // shared: the set holds the same object
    set->save(filePath);
}

// The settings of set as an XML document: the same setting objects, stored in an XML set.
std::string asXml(const IConfigurationSetFactory& factory, IConfigurationSet& set) {
    AutoRefCounted<IConfigurationSet> xml = factory.createConfigurationSet("XMLConfigurationSet");
    for (uint32_t index = 0; index < set.getSettingCount(); ++index) {
        std::string path;
        AutoRefCounted<ISetting> setting = set.retrieveSettingByIndex("", index, path);
        xml->insertSetting(path, setting);
    }
    size_t length = 0;
    try {
        xml->serialize(nullptr, 0, &length);  // asks for the length only
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::outBufferTooSmallException) {
            throw;
        }
    }
    std::vector<unsigned char> document(length);
    xml->serialize(document.data(), document.size(), &length);
    return std::string(document.begin(), document.begin() + static_cast<std::ptrdiff_t>(length));
}

int run(const std::string& filePath) {
    const IConfigurationSetFactory& factory = *getConfigurationSetFactory();
    save(factory, filePath);
    std::cout << "C++: saved group/value = 7 to " << filePath << '\n';

    AutoRefCounted<IConfigurationSet> loaded =
        factory.createConfigurationSet("BinaryConfigurationSet");
    loaded->load(filePath);
    uint32_t value = 0;
    loaded->retrieveLockedSetting("group/value")->getValue(&value);
    std::cout << "C++: loaded group/value = " << value << '\n';

    std::cout << "The same settings as XML:\n" << asXml(factory, *loaded) << '\n';
    return value == 7 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc > 1 ? argv[1] : "example.cfg");
    } catch (IConfigurationSetFactory::ConfigurationSetFactoryException exception) {
        std::cerr << "factory failure " << exception << '\n';
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        std::cerr << "configuration set failure " << exception << '\n';
    } catch (ISetting::SettingException exception) {
        std::cerr << "setting failure " << exception << '\n';
    } catch (const std::exception& exception) {
        std::cerr << "failure: " << exception.what() << '\n';
    }
    return 1;
}
