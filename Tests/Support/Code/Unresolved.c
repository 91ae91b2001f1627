int rk_there_is_no_such_function(void);

int PluginMain(void);
int PluginMain(void)
{
    return rk_there_is_no_such_function();
}
