// The shared library is the whole of zalvo_core; this unit only gives the linker a source to start
// from.
namespace {
[[maybe_unused]] constexpr int exports_anchor = 0;
}
