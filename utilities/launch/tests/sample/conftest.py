from sample_workspace import assembled, sample  # noqa: F401: fixtures


def pytest_collection_modifyitems(config, items):
    """What the system makes no difference to is tried on the host alone."""
    if config.getoption("--product") == "windows":
        items[:] = [item for item in items if not item.get_closest_marker("host_only")]
