<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name></name>
    <message id="Warnning">
        <source></source>
        <translation>温馨提示</translation>
    </message>
    <message id="Confirm">
        <source></source>
        <translation>确 定</translation>
    </message>
    <message id="ForbidenExit">
        <source></source>
        <translation>当前不允许退出，请稍后再试。如需帮助，请联系管理员。</translation>
    </message>
    <message id="NoIPofIntranet">
        <source></source>
        <translation>尚未配置管理服务器地址，请先配置服务器，或联系管理员。</translation>
    </message>
    <message id="ConfigureServer">
        <source></source>
        <translation>连 接</translation>
    </message>
    <message id="Login">
        <source></source>
        <translation>登 录</translation>
    </message>
    <message id="IPOrDomainNameNonconformance">
        <source></source>
        <translation>服务器地址格式不正确，请输入 IP 地址，例如 192.168.1.10。</translation>
    </message>
    <message id="PortIncorrect">
        <source></source>
        <translation>端口格式不正确，请输入数字，例如 80。</translation>
    </message>
    <message id="ConnectServerFailed">
        <source></source>
        <translation>无法连接管理服务器，请检查地址、端口和网络后重试。</translation>
    </message>
    <message id="TicketTips">
        <source></source>
        <translation>登录已超时，请重新连接服务器并登录。</translation>
    </message>
    <message id="AccountNotEmpty">
        <source></source>
        <translation>请输入账号。</translation>
    </message>
    <message id="PwdNotEmpty">
        <source></source>
        <translation>密码不能为空，请输入密码。</translation>
    </message>
    <message id="PwdInconsistent">
        <source></source>
        <translation>两次输入的新密码必须一致。</translation>
    </message>
    <message id="PwdRuleTips">
        <source></source>
        <translation>密码须为 8 至 32 个字符，并且同时包含字母、数字和特殊字符。</translation>
    </message>
    <message id="PwdFormatError">
        <source></source>
        <translation>新密码不符合要求：须为 8 至 32 个字符，并且同时包含字母、数字和特殊字符。</translation>
    </message>
    <message id="NOUseOldPwd">
        <source></source>
        <translation>新密码不能与旧密码相同，请换一个新密码。</translation>
    </message>
    <message id="NOGetOldAcountInfo">
        <source></source>
        <translation>未能获取当前账号信息，请重新登录后再修改密码。</translation>
    </message>
    <message id="OldPwdError">
        <source></source>
        <translation>旧密码不正确，请重新输入。</translation>
    </message>
    <message id="ModifyPwdFailedForOldPwdError">
        <source></source>
        <translation>密码修改失败：旧密码不正确，请重新输入。</translation>
    </message>
    <message id="NoAccount">
        <source></source>
        <translation>登录失败：账号不存在，或服务器未能处理本次登录，请检查账号后重试。</translation>
    </message>
    <message id="Deviceapproved">
        <source></source>
        <translation>设备已通过审核，请重新登录。</translation>
    </message>
    <message id="Devicelogout">
        <source></source>
        <translation>设备已注销，如需继续使用，请联系管理员。</translation>
    </message>
    <message id="Devicerejected">
        <source></source>
        <translation>设备审核未通过，请联系管理员。</translation>
    </message>
    <message id="Devicereview">
        <source></source>
        <translation>设备正在等待管理员审核，审核通过后即可登录。</translation>
    </message>
    <message id="DevicenoRegister">
        <source></source>
        <translation>设备尚未注册，请联系管理员。</translation>
    </message>
    <message id="Faillogin">
        <source></source>
        <translation>登录失败，请稍后重试。</translation>
    </message>
    <message id="NotLogin">
        <source></source>
        <translation>您尚未登录，请先登录。</translation>
    </message>
    <message id="AccountOrPwdError">
        <source></source>
        <translation>账号或密码不正确，请重新输入。</translation>
    </message>
    <message id="Userblocked">
        <source></source>
        <translation>该账号已被禁用，请联系管理员。</translation>
    </message>
    <message id="Userexpired">
        <source></source>
        <translation>该账号已过期，请联系管理员。</translation>
    </message>
    <message id="Devicebound">
        <source></source>
        <translation>该设备已绑定其他账号，请使用绑定的账号登录，或联系管理员。</translation>
    </message>
    <message id="Deviceblocked">
        <source></source>
        <translation>该设备已被禁用，请联系管理员。</translation>
    </message>
    <message id="RequestParameterError">
        <source></source>
        <translation>请求有误，请检查账号后重试。</translation>
    </message>
    <message id="UserNoMailbox">
        <source></source>
        <translation>该账号未设置邮箱，无法找回密码，请联系管理员。</translation>
    </message>
    <message id="AdminNoMailbox">
        <source></source>
        <translation>管理员尚未配置发件邮箱，无法发送邮件，请联系管理员。</translation>
    </message>
    <message id="BackPwdMailSendFail">
        <source></source>
        <translation>邮件发送失败，请稍后重试，或联系管理员。</translation>
    </message>
    <message id="PasswordSendTo">
        <source></source>
        <translation>密码找回邮件已发送至：</translation>
    </message>
    <message id="MavSuccess">
        <source></source>
        <translation>网络正常</translation>
    </message>
    <message id="ReconnectServer">
        <source></source>
        <translation>网络未连接，请检查网络</translation>
    </message>
    <message id="AnswerUnusable">
        <source></source>
        <translation>服务器返回的数据无法使用，请稍后重试或联系管理员。</translation>
    </message>
    <message id="SessionNotStored">
        <source></source>
        <translation>登录已被服务器接受，但本机无法保存登录信息。请检查磁盘空间和文件夹权限，然后重新登录。</translation>
    </message>
    <message id="SessionEnded">
        <source></source>
        <translation>登录已被服务器结束，请重新登录。</translation>
    </message>
    <message id="SignOutPending">
        <source></source>
        <translation>已退出登录，但尚未通知服务器；网络恢复后会自动完成。</translation>
    </message>
    <message id="PasswordChanged">
        <source></source>
        <translation>密码已修改，请使用新密码登录。</translation>
    </message>
    <message id="PasswordChangeFailed">
        <source></source>
        <translation>修改密码未成功：%1</translation>
    </message>
    <message id="OtpElsewhere">
        <source></source>
        <translation>需要动态口令时，请点击“扫码登录”，在“账号登录”中输入。</translation>
    </message>
    <message id="OfflineSince">
        <source></source>
        <translation>自 %1 起</translation>
    </message>
    <message id="SignedInNote">
        <source></source>
        <translation>已登录</translation>
    </message>
    <message id="HttpCancelled">
        <source></source>
        <translation>请求已取消。</translation>
    </message>
    <message id="HttpBadUrl">
        <source></source>
        <translation>服务器地址无效。</translation>
    </message>
    <message id="HttpTimedOut">
        <source></source>
        <translation>请求超时。</translation>
    </message>
    <message id="HttpUnsupportedUrl">
        <source></source>
        <translation>不支持该类型的地址。</translation>
    </message>
    <message id="HttpCannotFindHost">
        <source></source>
        <translation>找不到服务器。</translation>
    </message>
    <message id="HttpCannotConnect">
        <source></source>
        <translation>无法连接服务器。</translation>
    </message>
    <message id="HttpConnectionLost">
        <source></source>
        <translation>网络连接已中断。</translation>
    </message>
    <message id="HttpTooManyRedirects">
        <source></source>
        <translation>服务器重定向次数过多。</translation>
    </message>
    <message id="HttpCannotDecodeContent">
        <source></source>
        <translation>无法解码服务器返回的内容。</translation>
    </message>
    <message id="HttpUnusableAnswer">
        <source></source>
        <translation>无法解析服务器的响应。</translation>
    </message>
    <message id="HttpResponseTooLarge">
        <source></source>
        <translation>服务器返回的数据过大。</translation>
    </message>
    <message id="HttpSecureConnectionFailed">
        <source></source>
        <translation>无法与服务器建立安全连接。</translation>
    </message>
    <message id="HttpServerFails">
        <source></source>
        <translation>服务器暂时无法处理请求，请稍后再试。</translation>
    </message>
    <message id="HttpServerRefuses">
        <source></source>
        <translation>服务器拒绝了请求，请联系管理员。</translation>
    </message>
    <message id="HttpNotJson">
        <source></source>
        <translation>服务器返回的数据格式不正确。</translation>
    </message>
    <message id="HttpFailed">
        <source></source>
        <translation>网络请求失败。</translation>
    </message>
    <message id="AgentNotReachable">
        <source></source>
        <translation>无法连接本机代理服务。</translation>
    </message>
    <message id="HideSecret">
        <source></source>
        <translation>隐藏密码</translation>
    </message>
    <message id="ShowSecret">
        <source></source>
        <translation>显示密码</translation>
    </message>
    <message id="PleaseWait">
        <source></source>
        <translation>请稍候</translation>
    </message>
    <message id="CheckFailed">
        <source></source>
        <translation>未通过</translation>
    </message>
    <message id="CheckUnknown">
        <source></source>
        <translation>无法确定</translation>
    </message>
    <message id="CheckRunning">
        <source></source>
        <translation>检测中</translation>
    </message>
    <message id="Repair">
        <source></source>
        <translation>修复</translation>
    </message>
    <message id="RepairTip">
        <source></source>
        <translation>查看如何修复</translation>
    </message>
    <message id="RepairNamed">
        <source></source>
        <translation>修复 %1</translation>
    </message>
    <message id="UnfoldNamed">
        <source></source>
        <translation>展开 %1</translation>
    </message>
    <message id="FoldNamed">
        <source></source>
        <translation>收起 %1</translation>
    </message>
    <message id="Unfold">
        <source></source>
        <translation>展开</translation>
    </message>
    <message id="Fold">
        <source></source>
        <translation>收起</translation>
    </message>
    <message id="NothingToCheck">
        <source></source>
        <translation>组织没有下发检测要求，目前没有可检测的项目</translation>
    </message>
    <message id="SearchToolsHint">
        <source></source>
        <translation>搜索名称或拼音首字母</translation>
    </message>
    <message id="SearchTools">
        <source></source>
        <translation>搜索办公工具</translation>
    </message>
    <message id="NoToolFound">
        <source></source>
        <translation>没有符合的办公工具</translation>
    </message>
    <message id="OfficeTools">
        <source></source>
        <translation>办公工具</translation>
    </message>
    <message id="OrganisationMark">
        <source></source>
        <translation>组织标志</translation>
    </message>
    <message id="AboutMav">
        <source></source>
        <translation>关于 Mav</translation>
    </message>
    <message id="VersionNamed">
        <source></source>
        <translation>版本 %1</translation>
    </message>
    <message id="BuildNamed">
        <source></source>
        <translation>构建 %1</translation>
    </message>
    <message id="AvailableApplications">
        <source></source>
        <translation>可用应用</translation>
    </message>
    <message id="WhyProbeLate">
        <source></source>
        <translation>检测超时，未能确定。请稍后重新检测；多次出现请联系管理员。</translation>
    </message>
    <message id="WhyProbeSilent">
        <source></source>
        <translation>检测没有得到结果，未能确定。请重新检测；多次出现请联系管理员。</translation>
    </message>
    <message id="Swap">
        <source></source>
        <translation>交换空间</translation>
    </message>
    <message id="WhyDiskPlain">
        <source></source>
        <translation>磁盘 %1 没有加密</translation>
    </message>
    <message id="WhyDiskMountsUnreadable">
        <source></source>
        <translation>无法读取挂载列表，未能确定。请在系统中直接运行 Mav，或联系管理员。</translation>
    </message>
    <message id="WhyDiskSwapUnreadable">
        <source></source>
        <translation>无法读取交换空间列表，未能确定。请在系统中直接运行 Mav，或联系管理员。</translation>
    </message>
    <message id="WhyDiskNoRoot">
        <source></source>
        <translation>看不到系统所在的磁盘，未能确定。请在系统中直接运行 Mav，或联系管理员。</translation>
    </message>
    <message id="WhyDiskElsewhere">
        <source></source>
        <translation>数据存放在 %1 上，不是本机磁盘，未能确定。请管理员确认存放处是否加密。</translation>
    </message>
    <message id="WhyDiskNotListed">
        <source></source>
        <translation>系统没有列出设备 %1，未能确定。请联系管理员查看这个设备。</translation>
    </message>
    <message id="WhyDiskLayerUnseen">
        <source></source>
        <translation>看不到 %1 下面的存储，未能确定。请不要在容器中运行 Mav，或联系管理员。</translation>
    </message>
    <message id="WhyDiskEndless">
        <source></source>
        <translation>设备 %1 的层次过多，未能确定。请联系管理员查看它的组成。</translation>
    </message>
    <message id="WhyDiskSilent">
        <source></source>
        <translation>设备 %1 没有说明自己由什么组成，未能确定。请联系管理员查看它的组成。</translation>
    </message>
    <message id="WhyDiskLayerHidden">
        <source></source>
        <translation>设备 %1 没有说明自己是否加密，未能确定。请联系管理员查看这个设备。</translation>
    </message>
    <message id="WhyDiskZfsSilent">
        <source></source>
        <translation>zfs 命令没有说明 %1 是否加密，未能确定。安装 ZFS 工具后可以确定。</translation>
    </message>
    <message id="WhyDiskBcachefsSilent">
        <source></source>
        <translation>bcachefs 没有说明 %1 是否加密，未能确定。请管理员确认。</translation>
    </message>
    <message id="WhyServiceMissing">
        <source></source>
        <translation>主机状态服务没有运行，未能确定。启动 mav-facts 服务或重新安装 Mav 后可以确定。</translation>
    </message>
    <message id="WhyServiceLate">
        <source></source>
        <translation>主机状态服务没有及时回答，未能确定。请重新检测。</translation>
    </message>
    <message id="WhyServiceForeign">
        <source></source>
        <translation>另一个程序冒用了主机状态服务的名称，未能确定。请联系管理员。</translation>
    </message>
    <message id="WhyServiceVersion">
        <source></source>
        <translation>主机状态服务的版本不符，未能确定。重新安装 Mav 后可以确定。</translation>
    </message>
    <message id="WhyFirewallNone">
        <source></source>
        <translation>没有开启防火墙</translation>
    </message>
    <message id="WhyFirewallOpen">
        <source></source>
        <translation>防火墙放行了外来的连接：%1</translation>
    </message>
    <message id="WhyFirewallRulesUnclear">
        <source></source>
        <translation>规则 %1 过于复杂，未能确定。请管理员查看这些规则。</translation>
    </message>
    <message id="WhyFirewallRulesUnseen">
        <source></source>
        <translation>没有权限读取防火墙规则，未能确定。启动 mav-facts 服务或重新安装 Mav 后可以确定。</translation>
    </message>
    <message id="WhyFirewallCommandMissing">
        <source></source>
        <translation>没有安装命令 %1，未能确定。安装后可以确定。</translation>
    </message>
    <message id="WhyFirewallCommandFailed">
        <source></source>
        <translation>命令 %1 无法列出防火墙规则，未能确定。请联系管理员。</translation>
    </message>
    <message id="WhyFirewallCommandLate">
        <source></source>
        <translation>命令 %1 没有及时列出防火墙规则，检测超时，未能确定。请重新检测。</translation>
    </message>
    <message id="WhyFirewallTooManyRules">
        <source></source>
        <translation>防火墙规则过多，未能确定。请管理员查看命令 %1 列出的规则。</translation>
    </message>
    <message id="WhyFirewallFormatUnknown">
        <source></source>
        <translation>防火墙规则的格式无法识别，未能确定。更新 Mav 后可以确定。</translation>
    </message>
    <message id="WhyFirewallZoneOpen">
        <source></source>
        <translation>firewalld 的区域 %1 放行所有连接</translation>
    </message>
    <message id="WhyFirewallZoneUnknown">
        <source></source>
        <translation>不清楚 firewalld 的区域 %1 放行什么，未能确定。启动 mav-facts 服务后可以确定。</translation>
    </message>
    <message id="WhyFirewallFirewalldSilent">
        <source></source>
        <translation>firewalld 正在运行但没有回答，未能确定。请重新检测，或重新启动 firewalld。</translation>
    </message>
    <message id="WhyFirewallUfwAccepts">
        <source></source>
        <translation>ufw 默认放行所有连接</translation>
    </message>
    <message id="WhyFirewallUfwRemoved">
        <source></source>
        <translation>ufw 已被卸载，只留下了设置，没有防火墙在工作</translation>
    </message>
    <message id="WhyFirewallUfwNotStarted">
        <source></source>
        <translation>ufw 已启用但服务没有启动，未能确定。重新启动电脑后可以确定。</translation>
    </message>
    <message id="WhyFirewallUfwUnreadable">
        <source></source>
        <translation>无法读取 %1，未能确定。请管理员检查这个文件。</translation>
    </message>
    <message id="WhyDomainNone">
        <source></source>
        <translation>这台电脑没有加入域</translation>
    </message>
    <message id="WhyDomainUnreadable">
        <source></source>
        <translation>没有权限读取 sssd 或 winbind 的设置，未能确定加入了哪个域。安装 realmd 后可以确定。</translation>
    </message>
    <message id="WhyDomainNameDamaged">
        <source></source>
        <translation>域的名称已损坏，未能确定。请管理员检查域的设置。</translation>
    </message>
    <message id="WhyDomainOther">
        <source></source>
        <translation>这台电脑加入的是 %1，与策略要求的域不同</translation>
    </message>
    <message id="WhyDomainLineEnd">
        <source></source>
        <translation>这台电脑已加入 %1，但策略中的写法不带行尾，按规定不算一致。请联系管理员。</translation>
    </message>
    <message id="WhyPolicyNotStated">
        <source></source>
        <translation>策略中没有写明要求，无法比较：%1。请联系管理员。</translation>
    </message>
    <message id="WhyVersionMissing">
        <source></source>
        <translation>没有找到已安装的 Mav</translation>
    </message>
    <message id="WhyVersionNotBefore">
        <source></source>
        <translation>已安装的版本 %1 不早于策略写明的版本</translation>
    </message>
</context>
</TS>
