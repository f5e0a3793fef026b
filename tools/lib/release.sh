# Sourced by the tools that measure: a build as for an image, in a folder of its own.

build_folder=$root/build-release
build_options=(
    -Dbuildtype=release -Db_lto=true
    -Dcpp_args="-ffunction-sections -fdata-sections" -Dcpp_link_args=-Wl,--gc-sections
)
