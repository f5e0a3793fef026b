"""Which platform a build is for: said in full, or refused with what to do."""

from __future__ import annotations

import pytest

from building import Build


@pytest.mark.parametrize(
    ("options", "advice"),
    [
        (["-Dplatform=real"], "add -Dplatform_libs=NAME,NAME,..."),
        (["-Dplatform_libs=someplatform"], "add -Dplatform=real, or leave -Dplatform_libs out"),
        (
            ["-Dplatform=real", "-Dplatform_libs=someplatform,missing"],
            "libmissing.so of -Dplatform_libs was not found where the linker looks: "
            "mend the name, or name its directory with -Dcpp_link_args=-LDIRECTORY",
        ),
    ],
    ids=["real without names", "names without real", "no such library"],
)
def test_a_choice_that_cannot_be_meant_is_refused_with_advice(
    build: Build, options: list[str], advice: str
) -> None:
    done = build.configure(*options)
    assert done.returncode != 0
    assert advice in done.stdout


def test_a_real_platform_may_have_several_libraries(build: Build) -> None:
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform,otherplatform")
    assert done.returncode == 0, done.stdout
