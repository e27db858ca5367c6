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
</context>
</TS>
