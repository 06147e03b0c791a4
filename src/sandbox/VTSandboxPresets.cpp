#include "VTSandboxPresets.h"

#include "VTSandboxBuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <QRandomGenerator>

#include <algorithm>
#include <numeric>
#include <vector>

using namespace VTSandboxKind;
using Arch = VTMachOWriter::Arch;
using Container = VTMachOWriter::Container;

namespace {

VTBundleOptions bundle(const QString &group = QString(), bool enabled = true)
{
    VTBundleOptions options;
    options.group = group;
    options.enabled = enabled;
    return options;
}

VTBundleOptions withArchs(VTBundleOptions options, QList<Arch> archs, Container container = Container::Auto)
{
    options.architectures = std::move(archs);
    options.container = container;
    return options;
}

VTBundleOptions withVersion(VTBundleOptions options, const QString &version, const QString &build)
{
    options.version = version;
    options.build = build;
    return options;
}

VTFileOptions file(const QString &group = QString(), bool enabled = true)
{
    VTFileOptions options;
    options.group = group;
    options.enabled = enabled;
    return options;
}

VTTemplateOptions motion(const QString &group = QString(), bool enabled = true)
{
    VTTemplateOptions options;
    options.group = group;
    options.enabled = enabled;
    return options;
}

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

namespace VTSandboxPresets {

void demo(VTSandboxBuilder &b)
{
    b.addSystemVersion(str("10.14.6"));
    b.addAvidSymphony();
    b.addPremiere(str("Adobe Premiere Pro CS6"), str("Adobe Premiere Pro CS6"), str("6.0.0"), str("6.0"));
    b.addAdobeFolder(str("CS5"));
    b.addAdobeFolder(str("7.0"));
    b.createAllFolders();

    // FxPlug, all users: groups three deep, a numeric folder, localised and
    // binary-plist bundles, a FxFactory pack, a managed bundle, a placeholder name.
    b.addBundle(FxPlug, AllUsers, str("Gaussian Blur"), withArchs(bundle(), {Arch::X86_64, Arch::ARM64}));
    b.addBundle(FxPlug, AllUsers, str("Color Warp"), withVersion(withArchs(bundle(str("Color")), {Arch::I386, Arch::X86_64}),
                                                                 str("2.1"), str("210")));
    VTBundleOptions glow = withArchs(bundle(str("Color/Warm")), {Arch::PPC, Arch::I386, Arch::X86_64});
    glow.plistFormat = VTPropertyList::Format::Binary;
    glow.displayName = str("Warm Glow");
    glow.localizations = {{str("en"), {{str("CFBundleDisplayName"), str("Warm Glow")}}, VTLocalization::Encoding::Utf8},
                          {str("de"), {{str("CFBundleDisplayName"), str("Warmes Leuchten")}},
                           VTLocalization::Encoding::Utf16LittleEndian},
                          {str("ja"), {{str("CFBundleDisplayName"), str("暖かい輝き")}},
                           VTLocalization::Encoding::Utf16BigEndian}};
    b.addBundle(FxPlug, AllUsers, str("Warm Glow"), glow);
    b.addBundle(FxPlug, AllUsers, str("Edge Detect"), withArchs(bundle(str("Stylize/Edges/Sharp")), {Arch::X86_64}));
    b.addBundle(FxPlug, AllUsers, str("Film Grain"), withVersion(bundle(str("Film/2.0")), str("2.0"), str("2.0.4")));
    b.addBundle(FxPlug, AllUsers, str("Old Film"), withVersion(bundle(QString(), false), QString(), str("0.9")));
    b.addBundle(FxPlug, AllUsers, str("Tint"), bundle(str("Color"), false));
    b.addFxFactoryGroup(FxPlug, AllUsers, str("Noise Pack"));
    b.addBundle(FxPlug, AllUsers, str("Noise Reduction"), bundle(str("Noise Pack")));
    VTBundleOptions managed = bundle();
    managed.fxFactoryManaged = true;
    b.addBundle(FxPlug, AllUsers, str("Managed Keyer"), managed);
    VTBundleOptions placeholder = bundle();
    placeholder.info.insert(str("CFBundleName"), str("${PRODUCT_NAME}"));
    b.addBundle(FxPlug, AllUsers, str("Unnamed Effect"), placeholder);
    b.addIgnored(FxPlug, AllUsers, str("Old.Disabled"), true);
    b.addIgnored(FxPlug, AllUsers, str(".Disabled"));
    b.addIgnored(FxPlug, AllUsers, str("ReadMe.pdf"));

    // FxPlug, current user.
    b.addBundle(FxPlug, CurrentUser, str("My Vignette"), withArchs(bundle(), {Arch::X86_64, Arch::ARM64}, Container::Fat64));
    b.addBundle(FxPlug, CurrentUser, str("Letterbox"), bundle(str("Favorites.localized"), false));
    b.addBundle(FxPlug, CurrentUser, str("Picture Frame"), bundle(str("Favorites.localized")));

    // FxScript: plain files and files known only by their type code.
    b.addFile(FxScript, AllUsers, str("Cross Fade.txt"));
    b.addFile(FxScript, AllUsers, str("Flicker.fcfcc"), file(str("Stylize")));
    b.addTypeCodedFile(FxScript, AllUsers, str("Film Look"));
    b.addTypeCodedFile(FxScript, CurrentUser, str("Posterize"), file(QString(), false));
    b.addFile(FxScript, CurrentUser, str("Wipe.txt"), file(str("Wipes")));

    // Audio Units: old PowerPC builds, big-endian thin, fat64 with arm64.
    b.addBundle(AudioUnit, AllUsers, str("Reverb Room"), withArchs(bundle(), {Arch::PPC, Arch::I386}));
    b.addBundle(AudioUnit, AllUsers, str("Compressor 64"),
                withArchs(bundle(str("Dynamics")), {Arch::X86_64, Arch::ARM64}, Container::Fat64));
    b.addBundle(AudioUnit, AllUsers, str("Old Delay"), withArchs(bundle(QString(), false), {Arch::PPC}));
    b.addBundle(AudioUnit, AllUsers, str("G5 Chorus"), withArchs(bundle(), {Arch::PPC64, Arch::PPC}));
    b.addBundle(AudioUnit, CurrentUser, str("Tape Echo"), withArchs(bundle(), {Arch::I386}));

    // Avid, Adobe and OpenFX kinds have all-users folders only.
    b.addBundle(AvidAVX, AllUsers, str("Film Grain AVX"), withArchs(bundle(), {Arch::I386}));
    b.addBundle(AvidAVX, AllUsers, str("Blur AVX"), bundle(QString(), false));
    VTBundleOptions sharpen = bundle();
    sharpen.plistFormat = VTPropertyList::Format::Binary;
    b.addBundle(AdobePlugin, AllUsers, str("Sharpen Plus"), sharpen);
    VTBundleOptions denoise = bundle(str("Video"));
    denoise.extension = str("plugin");
    b.addBundle(AdobePlugin, AllUsers, str("Denoise"), denoise);
    b.addBundle(AvidAVX2, AllUsers, str("Color Match"), withArchs(bundle(), {Arch::X86_64}));
    b.addBundle(AvidRTAS, AllUsers, str("Channel Strip"), withArchs(bundle(), {Arch::PPC, Arch::I386}));
    b.addBundle(AvidRTAS, AllUsers, str("Old Limiter"), withArchs(bundle(QString(), false), {Arch::PPC}));
    b.addBundle(OpenFX, AllUsers, str("Lens Flare"), withArchs(bundle(), {Arch::I386, Arch::X86_64}, Container::Fat64));
    b.addBundle(OpenFX, AllUsers, str("Glow OFX"), bundle(str("Light"), false));

    // VST, with a whole group disabled afterwards.
    b.addBundle(VST, AllUsers, str("Synth One"), withArchs(bundle(), {Arch::X86_64, Arch::I386}));
    b.addBundle(VST, AllUsers, str("Drum Machine"), bundle(str("Instruments")));
    b.addBundle(VST, AllUsers, str("Verb"), bundle(str("Legacy")));
    b.addBundle(VST, AllUsers, str("Old Flanger"), withArchs(bundle(str("Legacy")), {Arch::PPC}));
    b.disable(b.folder(VST, AllUsers) + str("/Legacy"));
    b.addBundle(VST, CurrentUser, str("Bass Synth"), withArchs(bundle(), {Arch::ARM64, Arch::X86_64}));
    b.addIgnored(VST, AllUsers, str("Manual.pdf"));

    // Motion templates: one per category for all users, some for the user.
    b.addMotionTemplate(AllUsers, str("Generators"), str("Glow"));
    b.addMotionTemplate(AllUsers, str("Titles"), str("Lower Third"));
    b.addMotionTemplate(AllUsers, str("Effects"), str("Pixelate"));
    b.addMotionTemplate(AllUsers, str("Transitions"), str("Swipe"));
    b.addMotionTemplate(AllUsers, str("Compositions"), str("Intro Scene"));
    b.addMotionTemplate(AllUsers, str("Generators"), str("Old Generator"), motion(QString(), false));
    b.addMotionTemplate(CurrentUser, str("Titles"), str("My Title"), motion(str("Mine")));
    b.addMotionTemplate(CurrentUser, str("Effects"), str("Retro"), motion());
    b.disable(b.folder(MotionTemplate, CurrentUser) + str("/Effects.localized/Retro"));

    // The validator's own listing (banner, units, closing line) with mixed
    // outcomes; the system's DLS synthesizer is never validated.
    b.addAudioUnitValidator(
        {QString(), str("    * * * * * * * * * * * * * * * * * *"), str("     AU Validation Tool"), str("     Version: 1.8.0"),
         str("    * * * * * * * * * * * * * * * * * *"), QString(), str("    Audio Units:"), str("    ----------"), QString(),
         str("aufx Cm64 Vtrl - Vantorel: Compressor 64"), str("aufx Rvrb Vtrl - Vantorel: Reverb Room"),
         str("aufx Chrs Glss - Glass Audio: G5 Chorus"), str("aufx Tape Glss - Glass Audio: Tape Echo"),
         str("aufx Dlay Olds - Old Sound: Old Delay"), str("aumu dls  appl - Apple: DLSMusicDevice"),
         str("aumu Drum Beat - Beat Works: Drum Machine"), str("* * PASS")},
        {str("aufx Chrs Glss 2"), str("aufx Dlay Olds 4"), str("aumu Drum Beat 3")});

    // A host for the crash tester that crashes while "Film Grain" is enabled.
    // The stand-in host program is built beside this one; without it (a
    // builder inside a test) the demo has no such host.
    const QString hostProgram = QFileInfo(QFile::symLinkTarget(str("/proc/self/exe"))).dir().filePath(str("tessary-standin-host"));
    if (QFileInfo::exists(hostProgram))
        b.addStandInHost(str("Final Cut Pro.app"), str("com.apple.FinalCutPro"), hostProgram,
                         {FxPlug, FxScript, AudioUnit}, {str("Film Grain.fxplug")});
}

void scaled(VTSandboxBuilder &b, int count, quint32 seed)
{
    QRandomGenerator random(seed);
    // Slices 256-byte aligned instead of page aligned: readers follow the
    // offsets either way, and ten thousand bundles stay a few megabytes.
    b.setMachOAlignment(8);
    const auto chance = [&random](int outOf) { return random.bounded(outOf) == 0; };
    const QList<Arch> allArchs = VTMachOWriter::allArchitectures();
    static const QStringList words{str("Soft"), str("Glow"), str("Sharp"), str("Warp"), str("Echo"), str("Film"),
                                   str("Grain"), str("Light"), str("Tone"), str("Edge"), str("Blur"), str("Wave")};
    static const QStringList groupNames{str("Color"), str("Blur"), str("Stylize"), str("Keying"), str("Audio Tools"),
                                        str("2.0"), str("Favorites.localized"), str("Legacy")};
    static const QStringList categories{str("Generators"), str("Titles"), str("Effects"), str("Compositions"),
                                        str("Transitions")};

    // Exactly a fifth disabled, spread at random.
    std::vector<int> order(static_cast<size_t>(std::max(count, 0)));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), random);
    std::vector<bool> disabled(order.size(), false);
    for (size_t i = 0; i < order.size() / 5; ++i)
        disabled[static_cast<size_t>(order[i])] = true;

    for (int i = 0; i < count; ++i) {
        const qint64 kind = i % Count;
        const qint64 access = hasCurrentUserFolder(kind) && chance(2) ? CurrentUser : AllUsers;
        const bool enabled = !disabled[static_cast<size_t>(i)];
        const QString name = words.at(random.bounded(words.size())) + u' ' + words.at(random.bounded(words.size()))
            + u' ' + QString::number(i).rightJustified(5, u'0');

        const int roll = random.bounded(10);
        int depth = roll < 4 ? 0 : roll < 6 ? 1 : roll < 8 ? 2 : 3;
        if (kind == MotionTemplate)
            depth = std::max(depth, 1) - 1; // the category is the first level
        QStringList levels;
        for (int level = 0; level < depth; ++level)
            levels.append(groupNames.at(random.bounded(groupNames.size())));
        const QString group = levels.join(u'/');

        if (kind == MotionTemplate) {
            VTTemplateOptions options = motion(group, enabled);
            options.media = false; // the demo has templates with media; here only the count matters
            b.addMotionTemplate(access, categories.at(random.bounded(categories.size())), name, options);
            continue;
        }
        if (kind == FxScript) {
            switch (i / Count % 3) {
            case 0: b.addFile(kind, access, name + str(".txt"), file(group, enabled)); break;
            case 1: b.addFile(kind, access, name + str(".fcfcc"), file(group, enabled)); break;
            default: b.addTypeCodedFile(kind, access, name, file(group, enabled)); break;
            }
            continue;
        }

        VTBundleOptions options = bundle(group, enabled);
        options.architectures.clear();
        const int mask = random.bounded(1, 1 << allArchs.size());
        for (int a = 0; a < allArchs.size(); ++a) {
            if (mask & (1 << a))
                options.architectures.append(allArchs.at(a));
        }
        if (options.architectures.size() == 1)
            options.container = chance(4) ? Container::Fat : Container::Thin;
        else
            options.container = chance(3) ? Container::Fat64 : Container::Fat;
        if (chance(4))
            options.plistFormat = VTPropertyList::Format::Binary;
        options.version = QStringLiteral("%1.%2.%3").arg(random.bounded(1, 12)).arg(random.bounded(10)).arg(random.bounded(10));
        options.build = QString::number(random.bounded(100, 5000));
        if (chance(20)) {
            options.localizations = {{str("en"), {{str("CFBundleDisplayName"), name + str(" Pro")}}, VTLocalization::Encoding::Utf8},
                                     {str("de"), {{str("CFBundleDisplayName"), name + str(" Profi")}},
                                      VTLocalization::Encoding::Utf16LittleEndian}};
        }
        b.addBundle(kind, access, name, options);
    }
}

} // namespace VTSandboxPresets
