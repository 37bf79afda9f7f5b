#include "KXFW/Platform/Toolkit/NSViewController.h"

#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Toolkit/InterfaceConnection.h"

#include <QWidget>

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace
{

/// "Screen" of "app::(anonymous namespace)::Screen".
std::string plainName(const std::type_info &cls)
{
    std::string name = kx::demangled(cls.name());
    name.resize(std::min(name.find('<'), name.size()));
    const std::size_t colon = name.rfind(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
}

kx::InterfaceFile fileOf(const NSBundle &bundle, const std::string &name)
{
    const auto path = bundle.pathForInterfaceFile(name);
    if (!path)
        throw kx::nibLoadingException(name + ".ui", "no such interface file in the bundle " + bundle.name());
    return kx::readInterfaceFile(*path);
}

} // namespace

NSViewController::NSViewController(std::optional<std::string> nibName, std::optional<NSBundle> bundle)
    : nibName_(std::move(nibName)), bundle_(std::move(bundle))
{
}

NSViewController::~NSViewController() = default;

NSBundle NSViewController::nibBundle() const
{
    return bundle_ ? *bundle_ : NSBundle::bundleForClass(typeid(*this));
}

std::string NSViewController::fileName() const
{
    return nibName_ ? *nibName_ : plainName(typeid(*this));
}

QWidget *NSViewController::view()
{
    if (!objects_ && !loading_)
        loadView();
    return objects_ ? objects_->view() : nullptr;
}

NSWindow NSViewController::window() const
{
    const QWidget *view = objects_ ? objects_->view() : nullptr;
    return NSWindow(view ? view->window() : nullptr);
}

void NSViewController::viewDidLoad() {}
void NSViewController::declareConnections(kx::NibConnections &) {}

void NSViewController::loadView()
{
    const auto self = shared_from_this();
    loading_ = true;
    try {
        kx::NibConnections connections;
        declareConnections(connections);
        objects_ = kx::loadScreen(
            fileName(), [bundle = nibBundle()](const std::string &name) { return fileOf(bundle, name); }, self,
            connections);
        viewDidLoad();
    } catch (...) {
        objects_.reset();
        loading_ = false;
        throw;
    }
    loading_ = false;
}
