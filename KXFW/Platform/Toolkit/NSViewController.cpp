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

struct NSViewController::Impl {
    void load(NSViewController &controller);

    std::optional<std::string> nibName;
    std::optional<NSBundle> bundle;
    std::unique_ptr<kx::TopLevelObjects> objects;
    bool loading = false;
};

void NSViewController::Impl::load(NSViewController &controller)
{
    const auto self = controller.shared_from_this();
    loading = true;
    try {
        kx::NibConnections connections;
        controller.declareConnections(connections);
        objects = kx::loadScreen(
            nibName ? *nibName : plainName(typeid(controller)),
            [used = controller.nibBundle()](const std::string &name) { return fileOf(used, name); }, self, connections);
        controller.viewDidLoad();
    } catch (...) {
        objects.reset();
        loading = false;
        throw;
    }
    loading = false;
}

NSViewController::NSViewController(std::optional<std::string> nibName, std::optional<NSBundle> bundle)
    : impl_(std::make_unique<Impl>())
{
    impl_->nibName = std::move(nibName);
    impl_->bundle = std::move(bundle);
}

NSViewController::~NSViewController() = default;

const std::optional<std::string> &NSViewController::nibName() const noexcept
{
    return impl_->nibName;
}

NSBundle NSViewController::nibBundle() const
{
    return impl_->bundle ? *impl_->bundle : NSBundle::bundleForClass(typeid(*this));
}

QWidget *NSViewController::view()
{
    if (!impl_->objects && !impl_->loading)
        impl_->load(*this);
    return impl_->objects ? impl_->objects->view() : nullptr;
}

bool NSViewController::isViewLoaded() const noexcept
{
    return impl_->objects != nullptr;
}

NSWindow NSViewController::window() const
{
    const QWidget *view = impl_->objects ? impl_->objects->view() : nullptr;
    return NSWindow(view ? view->window() : nullptr);
}

void NSViewController::viewDidLoad() {}
void NSViewController::declareConnections(kx::NibConnections &) {}
